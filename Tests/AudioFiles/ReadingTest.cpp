#include "FileTestSupport.h"
#include "KXFW/Platform/AudioFiles/AudioFile.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sndfile.h>
#include <tuple>

namespace kx::test
{

namespace
{

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
            OpenFile big(make(spec), standardFormat());
            EXPECT_TRUE(bigEndian(readAll<int16_t>(big, 44100)) == expected);
            OpenFile little(make(spec), native16());
            EXPECT_TRUE(readAll<int16_t>(little, 1) == expected);
            OpenFile floats(make(spec), interleaved(44100, 2, 32, kAudioFormatFlagIsFloat));
            EXPECT_TRUE(readAll<float>(floats) == floatSamples(spec));
        }
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

TEST(FileService, RefusesMisuseAndMovesNothing)
{
    OpenFile reader(make({.frames = 100}), standardFormat());
    NewFile writer(temporaryPath("misuse"));
    std::vector<int16_t> sound(200);
    AudioBufferList list{1, {{2, 400, sound.data()}}};
    uint32_t frames = 10;
    EXPECT_EQ(ExtAudioFileOpenURL("/dev/null", nullptr), kExtAudioFileError_InvalidPropertySize);
    EXPECT_EQ(ExtAudioFileRead(nullptr, &frames, &list), kAudioFileNotOpenError);
    EXPECT_EQ(ExtAudioFileDispose(nullptr), kAudioFileNotOpenError);
    EXPECT_EQ(ExtAudioFileRead(writer.get(), &frames, &list), kExtAudioFileError_InvalidOperationOrder);
    EXPECT_EQ(ExtAudioFileSeek(writer.get(), 0), kExtAudioFileError_InvalidOperationOrder);
    EXPECT_EQ(ExtAudioFileWrite(reader.get(), 1, &list), kExtAudioFileError_InvalidOperationOrder);
    EXPECT_EQ(ExtAudioFileRead(reader.get(), &frames, nullptr), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(ExtAudioFileRead(reader.get(), nullptr, &list), kExtAudioFileError_InvalidPropertySize);
    frames = 101;
    EXPECT_EQ(ExtAudioFileRead(reader.get(), &frames, &list), kExtAudioFileError_InvalidDataFormat) << "no room";
    for (const int64_t beyond : {int64_t{-1}, int64_t{101}, INT64_MIN, INT64_MAX})
        EXPECT_EQ(ExtAudioFileSeek(reader.get(), beyond), kExtAudioFileError_InvalidSeek) << beyond;
    EXPECT_EQ(reader.tell(), 0);
    EXPECT_EQ(reader.read(10, 4).size(), 40U);
    EXPECT_EQ(reader.tell(), 10);

    EXPECT_EQ(writer.write(sound), noErr);
    EXPECT_EQ(writer.setClient(standardFormat()), kExtAudioFileError_InvalidOperationOrder)
        << "frames were written in the old format";
}

TEST(FileService, ChecksPropertiesAndTheirSizes)
{
    OpenFile file(make({.rate = 48000, .frames = 100}));
    uint8_t room[64] = {};
    uint32_t size = 39;
    EXPECT_EQ(ExtAudioFileGetProperty(file.get(), kExtAudioFileProperty_FileDataFormat, &size, room),
              kExtAudioFileError_InvalidPropertySize);
    EXPECT_EQ(ExtAudioFileSetProperty(file.get(), kExtAudioFileProperty_ClientDataFormat, 39, room),
              kExtAudioFileError_InvalidPropertySize);
    EXPECT_EQ(ExtAudioFileSetProperty(file.get(), kExtAudioFileProperty_FileLengthFrames, 8, room),
              kExtAudioFileError_InvalidProperty);
    auto client = standardFormat();
    client.mFormatID = kAudioFormatFLAC;
    EXPECT_EQ(file.setClient(client), kExtAudioFileError_NonPCMClientFormat);
    EXPECT_EQ(file.setClient(standardFormat(44100, 0)), kExtAudioFileError_InvalidDataFormat);
    EXPECT_TRUE(sameFormat(file.format(kExtAudioFileProperty_ClientDataFormat),
                           interleaved(48000, 2, 32, kAudioFormatFlagIsFloat)))
        << "refusals change nothing";

    using Row = std::array<uint32_t, 4>; // tag, bits, descriptions, bytes of a layout for two channels
    const std::pair<Row, OSStatus> layouts[] = {
        {{0, kAudioChannelBit_Left | kAudioChannelBit_Right, 0, 12}, noErr},
        {{0, 0, 2, 52}, noErr},
        {{101U << 16 | 2, 0, 0, 32}, noErr},
        {{0, 7, 0, 32}, kExtAudioFileError_InvalidChannelMap},
        {{100U << 16 | 1, 0, 0, 32}, kExtAudioFileError_InvalidChannelMap},
        {{0, 0, 1, 32}, kExtAudioFileError_InvalidChannelMap},
        {{0, 3, 0, 11}, kExtAudioFileError_InvalidPropertySize},
        {{0, 0, 2, 51}, kExtAudioFileError_InvalidPropertySize},
        {{0, 0, UINT32_MAX, 52}, kExtAudioFileError_InvalidPropertySize},
    };
    for (const auto &[row, status] : layouts) {
        AudioChannelLayout layout[3] = {};
        std::memcpy(layout, row.data(), 3 * sizeof row[0]);
        EXPECT_EQ(ExtAudioFileSetProperty(file.get(), kExtAudioFileProperty_ClientChannelLayout, row[3], layout),
                  status)
            << testing::PrintToString(row);
    }
}

TEST(FileService, AClientFormatSetOnTheWayKeepsThePlace)
{
    const MediaSpec spec{.frames = 50'000};
    OpenFile file(make(spec), native16());
    file.read(10'001, 4);
    ASSERT_EQ(file.setClient(interleaved(44100, 2, 32, kAudioFormatFlagIsFloat)), noErr);
    EXPECT_EQ(file.tell(), 10'001);
    const auto expected = floatSamples(spec);
    EXPECT_EQ(samplesOf<float>(file.read(1, 8))[0], expected[2 * 10'001]);
}

TEST(FileService, TellsTheBytesAndPacketsOfTheData)
{
    const std::tuple<MediaSpec, uint64_t, uint64_t> cases[] = {
        {{.channels = 3, .frames = 7, .bits = 24}, 63, 7},
        {{.codec = Codec::AIFF, .channels = 1, .frames = 11}, 22, 11},
        {{.frames = 0}, 0, 0}};
    for (const auto &[spec, bytes, packets] : cases) {
        AudioFileID file = nullptr;
        ASSERT_EQ(AudioFileOpenURL(make(spec), &file), noErr);
        for (const auto &[property, expected] : {std::pair{kAudioFilePropertyAudioDataByteCount, bytes},
                                                 std::pair{kAudioFilePropertyAudioDataPacketCount, packets}}) {
            uint64_t value = 99;
            uint32_t size = 7;
            EXPECT_EQ(AudioFileGetProperty(file, property, &size, &value), kExtAudioFileError_InvalidPropertySize);
            size = 8;
            EXPECT_EQ(AudioFileGetProperty(file, property, &size, &value), noErr);
            EXPECT_EQ(value, expected);
        }
        EXPECT_EQ(AudioFileClose(file), noErr);
    }
}

} // namespace
} // namespace kx::test
