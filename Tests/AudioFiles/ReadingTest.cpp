#include "FileTestSupport.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sndfile.h>
#include <string>

namespace kx::test
{

namespace
{

/// A file of a kind that the media maker lacks, written by the container library itself.
std::filesystem::path sndfileOf(int format, int rate, const std::vector<int32_t> &stereo)
{
    const auto path = temporaryPath("container");
    SF_INFO info = {};
    info.samplerate = rate;
    info.channels = 2;
    info.format = format;
    SNDFILE *file = sf_open(path.c_str(), SFM_WRITE, &info);
    EXPECT_NE(file, nullptr) << std::hex << format;
    sf_command(file, SFC_SET_SCALE_INT_FLOAT_WRITE, nullptr, SF_TRUE);
    sf_write_int(file, stereo.data(), static_cast<sf_count_t>(stereo.size()));
    sf_close(file);
    return path;
}

std::vector<int16_t> rounded16(const std::vector<int32_t> &samples, uint32_t bits)
{
    std::vector<int16_t> result(samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double scaled = std::nearbyint(std::ldexp(samples[i], 16 - static_cast<int>(bits)));
        result[i] = static_cast<int16_t>(std::clamp(scaled, -32768.0, 32767.0));
    }
    return result;
}

struct PlainKind {
    const char *name;
    int format;
    uint32_t bits;
    uint32_t flags; ///< of the file's data format, beside packed
};

constexpr uint32_t kSigned = kAudioFormatFlagIsSignedInteger;
constexpr uint32_t kBig = kAudioFormatFlagIsBigEndian;
constexpr uint32_t kFloat = kAudioFormatFlagIsFloat;
constexpr PlainKind kPlainKinds[] = {
    {"WAV 8", SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 8, 0},
    {"WAV 16", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16, kSigned},
    {"WAV 24", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 24, kSigned},
    {"WAV float", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 32, kFloat},
    {"WAV double", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 64, kFloat},
    {"RIFX 16", SF_FORMAT_WAV | SF_FORMAT_PCM_16 | SF_ENDIAN_BIG, 16, kSigned | kBig},
    {"extensible 24", SF_FORMAT_WAVEX | SF_FORMAT_PCM_24, 24, kSigned},
    {"RF64 16", SF_FORMAT_RF64 | SF_FORMAT_PCM_16, 16, kSigned},
    {"W64 24", SF_FORMAT_W64 | SF_FORMAT_PCM_24, 24, kSigned},
    {"AIFF 8", SF_FORMAT_AIFF | SF_FORMAT_PCM_S8, 8, kSigned},
    {"AIFF 24", SF_FORMAT_AIFF | SF_FORMAT_PCM_24, 24, kSigned | kBig},
    {"AIFC little", SF_FORMAT_AIFF | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE, 16, kSigned},
    {"AIFC float", SF_FORMAT_AIFF | SF_FORMAT_FLOAT, 32, kFloat | kBig},
    {"CAF 16", SF_FORMAT_CAF | SF_FORMAT_PCM_16, 16, kSigned | kBig},
    {"AU 16", SF_FORMAT_AU | SF_FORMAT_PCM_16, 16, kSigned | kBig},
    {"AU double", SF_FORMAT_AU | SF_FORMAT_DOUBLE, 64, kFloat | kBig},
};

TEST(Reading, EveryPlainKindGivesItsSamplesAndItsLayout)
{
    const auto source = samples({.frames = 10007});
    std::vector<int32_t> wide(source.size());
    std::ranges::transform(source, wide.begin(), [](int32_t s) { return s * 65536; });
    for (const PlainKind &kind : kPlainKinds) {
        SCOPED_TRACE(kind.name);
        OpenFile file(sndfileOf(kind.format, 48000, wide), standardFormat(48000));
        ASSERT_EQ(file.status(), noErr);
        EXPECT_EQ(file.length(), 10007);
        const auto format = file.format(kExtAudioFileProperty_FileDataFormat);
        EXPECT_EQ(format.mFormatID, kAudioFormatLinearPCM);
        EXPECT_EQ(format.mFormatFlags, kind.flags | kAudioFormatFlagIsPacked);
        EXPECT_EQ(format.mBitsPerChannel, kind.bits);
        EXPECT_EQ(format.mBytesPerFrame, kind.bits / 4);
        EXPECT_EQ(format.mSampleRate, 48000);
        auto expected = rounded16(source, 16);
        if (kind.bits == 8)
            for (int16_t &s : expected)
                s = static_cast<int16_t>(s & ~255);
        EXPECT_EQ(bigEndian(readAll<int16_t>(file, 777)), expected);
    }
}

TEST(Reading, EveryClientLayoutGetsTheSamplesKeptOrRoundedToNearest)
{
    for (const Codec codec : {Codec::WAV, Codec::AIFF, Codec::FLAC})
        for (const uint32_t bits : {16U, 24U}) {
            const MediaSpec spec{.codec = codec, .frames = 20'011, .bits = bits, .signal = Signal::Noise};
            SCOPED_TRACE(testing::Message() << make(spec) << ", " << bits << " bits");
            const auto expected = rounded16(samples(spec), bits);
            const auto exact = floatSamples(spec);
            OpenFile big(make(spec), standardFormat());
            EXPECT_TRUE(bigEndian(readAll<int16_t>(big, 44100)) == expected);
            OpenFile little(make(spec), native16());
            EXPECT_TRUE(readAll<int16_t>(little, 1) == expected);
            OpenFile floats(make(spec), interleaved(44100, 2, 32, kAudioFormatFlagIsFloat));
            EXPECT_TRUE(readAll<float>(floats) == exact);

            OpenFile planar(make(spec), planarFloat(44100, 2));
            BufferList buffers(2, 1, 4000 * 4);
            uint32_t frames = 4000;
            ASSERT_EQ(ExtAudioFileRead(planar.get(), &frames, buffers.get()), noErr);
            ASSERT_EQ(frames, 4000U);
            for (uint32_t i = 0; i < 2 * frames; ++i)
                ASSERT_EQ(reinterpret_cast<const float *>(buffers.data(i % 2))[i / 2], exact[i]) << "sample " << i;
        }
}

TEST(Reading, MonoGoesToBothChannels)
{
    const MediaSpec mono{.channels = 1, .frames = 5000};
    const auto expected = rounded16(samples(mono), 16);
    OpenFile file(make(mono), native16());
    const auto stereo = readAll<int16_t>(file);
    ASSERT_EQ(stereo.size(), 2 * expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        ASSERT_TRUE(stereo[2 * i] == expected[i] && stereo[2 * i + 1] == expected[i]) << "frame " << i;
}

TEST(Reading, ClientLengthIsTruncatedAndExactlyDelivered)
{
    for (const uint32_t rate : {1000U, 8000U, 11025U, 32000U, 44099U, 48000U, 96000U, 768000U})
        for (const int64_t frames : {0, 1, 2, 3, 1000, 9973}) {
            const auto path = make({.rate = rate, .frames = frames});
            OpenFile file(path, standardFormat());
            ASSERT_EQ(file.status(), noErr) << rate << " Hz, " << frames << " frames";
            EXPECT_EQ(file.length(), frames);
            EXPECT_EQ(readAll<int16_t>(file, 512).size() / 2, static_cast<uint64_t>(frames * 44100 / rate))
                << rate << " Hz, " << frames << " frames";
            EXPECT_TRUE(file.read(100, 4).empty());
            EXPECT_EQ(file.readStatus, noErr);
        }
}

} // namespace
} // namespace kx::test
