#include "FileTestSupport.h"
#include "KXFW/Platform/AudioFiles/AudioFile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <sndfile.h>
#include <span>
#include <tuple>

namespace kx::test
{

namespace
{

struct PlainKind {
    const char *name;
    int format; ///< the container library's
    uint32_t bits;
    uint32_t flags;           ///< of the file's data format, beside packed
    AudioFileTypeID type = 0; ///< where it can be written
};

constexpr uint32_t kSigned = kAudioFormatFlagIsSignedInteger;
constexpr uint32_t kBig = kAudioFormatFlagIsBigEndian;
constexpr uint32_t kFloat = kAudioFormatFlagIsFloat;
constexpr PlainKind kPlainKinds[] = {
    {"WAV 8", SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 8, 0, kAudioFileWAVEType},
    {"WAV 16", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16, kSigned, kAudioFileWAVEType},
    {"WAV 24", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 24, kSigned, kAudioFileWAVEType},
    {"WAV 32", SF_FORMAT_WAV | SF_FORMAT_PCM_32, 32, kSigned, kAudioFileWAVEType},
    {"WAV float", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 32, kFloat, kAudioFileWAVEType},
    {"WAV double", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 64, kFloat, kAudioFileWAVEType},
    {"RIFX 16", SF_FORMAT_WAV | SF_FORMAT_PCM_16 | SF_ENDIAN_BIG, 16, kSigned | kBig},
    {"extensible 24", SF_FORMAT_WAVEX | SF_FORMAT_PCM_24, 24, kSigned},
    {"RF64 16", SF_FORMAT_RF64 | SF_FORMAT_PCM_16, 16, kSigned},
    {"W64 24", SF_FORMAT_W64 | SF_FORMAT_PCM_24, 24, kSigned},
    {"AIFF 8", SF_FORMAT_AIFF | SF_FORMAT_PCM_S8, 8, kSigned, kAudioFileAIFFType},
    {"AIFF 16", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 16, kSigned | kBig, kAudioFileAIFFType},
    {"AIFF 24", SF_FORMAT_AIFF | SF_FORMAT_PCM_24, 24, kSigned | kBig, kAudioFileAIFFType},
    {"AIFF 32", SF_FORMAT_AIFF | SF_FORMAT_PCM_32, 32, kSigned | kBig, kAudioFileAIFFType},
    {"AIFC little", SF_FORMAT_AIFF | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE, 16, kSigned},
    {"AIFC float", SF_FORMAT_AIFF | SF_FORMAT_FLOAT, 32, kFloat | kBig},
    {"CAF 16", SF_FORMAT_CAF | SF_FORMAT_PCM_16, 16, kSigned | kBig},
    {"AU 16", SF_FORMAT_AU | SF_FORMAT_PCM_16, 16, kSigned | kBig},
    {"AU double", SF_FORMAT_AU | SF_FORMAT_DOUBLE, 64, kFloat | kBig},
};

TEST(PlainFiles, AreReadWithTheirSamplesAndTheirLayout)
{
    const auto source = samples({.frames = 10007});
    std::vector<int32_t> wide(source.size());
    std::ranges::transform(source, wide.begin(), [](int32_t s) { return s * 65536; });
    for (const PlainKind &kind : kPlainKinds) {
        SCOPED_TRACE(kind.name);
        const auto path = sndfileOf(kind.format, 48000, wide);
        OpenFile file(path, native16(48000));
        ASSERT_EQ(file.status, noErr);
        EXPECT_EQ(file.length(), 10007);
        EXPECT_TRUE(sameFormat(file.value<AudioStreamBasicDescription>(kExtAudioFileProperty_FileDataFormat),
                               interleaved(48000, 2, kind.bits, kind.flags)));
        const auto sound = readAll<int16_t>(file, 777);
        ASSERT_EQ(sound.size(), source.size());
        for (std::size_t i = 0; i < sound.size(); ++i)
            ASSERT_EQ(sound[i], kind.bits == 8 ? source[i] & ~255 : source[i]) << i;
        AudioFileID counted = nullptr;
        ASSERT_EQ(AudioFileOpenURL(path, &counted), noErr);
        for (const auto &[property, expected] : {std::pair{kAudioFilePropertyAudioDataByteCount, 10007 * kind.bits / 4},
                                                 std::pair{kAudioFilePropertyAudioDataPacketCount, 10007U}}) {
            uint64_t value = 99;
            uint32_t size = 7;
            EXPECT_EQ(AudioFileGetProperty(counted, property, &size, &value), kExtAudioFileError_InvalidPropertySize);
            size = 8;
            EXPECT_EQ(AudioFileGetProperty(counted, property, &size, &value), noErr);
            EXPECT_EQ(value, expected);
        }
        EXPECT_EQ(AudioFileClose(counted), noErr);
    }
}

TEST(PlainFiles, AreFoundByAnotherReaderAsTheyWereWritten)
{
    for (const PlainKind &kind : kPlainKinds)
        for (const auto &[channels, frames] : {std::pair{1U, 0}, {1U, 1}, {1U, 1001}, {2U, 1001}, {6U, 1001}}) {
            if (kind.type == 0)
                continue;
            SCOPED_TRACE(testing::Message() << kind.name << ", " << channels << " x " << frames);
            const auto path = temporaryPath("out");
            const auto source = floatSamples({.channels = channels, .frames = frames, .bits = 8});
            NewFile file(path, kind.type, interleaved(48000, channels, kind.bits, kind.flags));
            ASSERT_EQ(file.setClient(floats(48000, channels)), noErr);
            ASSERT_EQ(file.write(source, channels), noErr);
            ASSERT_EQ(file.close(), noErr);
            SF_INFO info = {};
            SNDFILE *reader = sf_open(path.c_str(), SFM_READ, &info);
            ASSERT_NE(reader, nullptr);
            const bool isExtensible = channels > 2 && kind.type == kAudioFileWAVEType;
            EXPECT_EQ(info.format, kind.format ^ (isExtensible ? SF_FORMAT_WAV ^ SF_FORMAT_WAVEX : 0));
            EXPECT_EQ(std::tuple(info.frames, info.samplerate, info.channels), std::tuple(frames, 48000, channels));
            std::vector<float> found(source.size());
            EXPECT_EQ(sf_readf_float(reader, found.data(), frames), frames);
            EXPECT_EQ(found, source);
            sf_close(reader);
            EXPECT_EQ(std::filesystem::file_size(path) % 2, 0U);
        }
}

TEST(Reading, EveryClientLayoutGetsTheSamplesKeptOrRoundedToNearest)
{
    for (const Codec codec : {Codec::WAV, Codec::AIFF, Codec::FLAC})
        for (const uint32_t bits : {16U, 24U}) {
            const Media media{.codec = codec, .frames = 20'011, .bits = bits, .signal = Signal::Noise};
            const auto path = make(media);
            SCOPED_TRACE(testing::Message() << path << ", " << bits << " bits");
            const auto source = floatSamples(media);
            std::vector<int32_t> expected;
            for (const float sample : source)
                expected.push_back(static_cast<int32_t>(std::min(std::nearbyint(sample * 32768), 32767.0F)));
            OpenFile big(path, standardFormat());
            EXPECT_TRUE(big.read(20'011) == bigEndian(expected));
            OpenFile file(path, native16());
            EXPECT_EQ(samplesOf<int16_t>(file.read(1))[1], expected[1]);
            ASSERT_EQ(file.setClient(floats()), noErr); // on the way
            EXPECT_EQ(file.tell(), 1);
            EXPECT_TRUE(std::ranges::equal(readAll<float>(file), std::span(source).subspan(2)));
        }
}

TEST(Reading, ClientLengthIsTruncatedAndExactlyDelivered)
{
    for (const uint32_t rate : {1000U, 8000U, 11025U, 32000U, 44099U, 48000U, 96000U, 768000U})
        for (const int64_t frames : {0, 1, 2, 3, 1000, 9973}) {
            SCOPED_TRACE(testing::Message() << rate << " Hz, " << frames << " frames");
            OpenFile file(make({.rate = rate, .frames = frames}), standardFormat());
            ASSERT_EQ(file.status, noErr);
            EXPECT_EQ(file.length(), frames);
            EXPECT_EQ(readAll<int16_t>(file, 512).size() / 2, static_cast<uint64_t>(frames * 44100 / rate));
            EXPECT_TRUE(file.read(100).empty());
            EXPECT_EQ(file.status, noErr);
        }
}

TEST(FileService, RefusesMisuseAndMovesNothing)
{
    OpenFile reader(make({.frames = 100}), standardFormat());
    NewFile writer(temporaryPath("misuse"));
    std::vector<int16_t> sound(200);
    AudioBufferList list{1, {{2, 400, sound.data()}}};
    uint32_t frames = 10;
    uint32_t many = 101;
    uint32_t size = 39;
    auto flac = standardFormat();
    flac.mFormatID = kAudioFormatFLAC;
    const std::pair<OSStatus, OSStatus> refusals[] = {
        {ExtAudioFileOpenURL("/dev/null", nullptr), kExtAudioFileError_InvalidPropertySize},
        {ExtAudioFileRead(nullptr, &frames, &list), kAudioFileNotOpenError},
        {ExtAudioFileDispose(nullptr), kAudioFileNotOpenError},
        {ExtAudioFileRead(writer.file, &frames, &list), kExtAudioFileError_InvalidOperationOrder},
        {ExtAudioFileSeek(writer.file, 0), kExtAudioFileError_InvalidOperationOrder},
        {ExtAudioFileWrite(reader.file, 1, &list), kExtAudioFileError_InvalidOperationOrder},
        {ExtAudioFileRead(reader.file, &frames, nullptr), kExtAudioFileError_InvalidDataFormat},
        {ExtAudioFileRead(reader.file, nullptr, &list), kExtAudioFileError_InvalidPropertySize},
        {ExtAudioFileRead(reader.file, &many, &list), kExtAudioFileError_InvalidDataFormat}, // no room
        {ExtAudioFileSeek(reader.file, -1), kExtAudioFileError_InvalidSeek},
        {ExtAudioFileSeek(reader.file, 101), kExtAudioFileError_InvalidSeek},
        {ExtAudioFileSeek(reader.file, INT64_MIN), kExtAudioFileError_InvalidSeek},
        {ExtAudioFileSeek(reader.file, INT64_MAX), kExtAudioFileError_InvalidSeek},
        {ExtAudioFileGetProperty(reader.file, kExtAudioFileProperty_FileDataFormat, &size, sound.data()),
         kExtAudioFileError_InvalidPropertySize},
        {ExtAudioFileSetProperty(reader.file, kExtAudioFileProperty_ClientDataFormat, 39, sound.data()),
         kExtAudioFileError_InvalidPropertySize},
        {ExtAudioFileSetProperty(reader.file, kExtAudioFileProperty_FileLengthFrames, 8, sound.data()),
         kExtAudioFileError_InvalidProperty},
        {reader.setClient(flac), kExtAudioFileError_NonPCMClientFormat},
        {reader.setClient(standardFormat(44100, 0)), kExtAudioFileError_InvalidDataFormat},
        {writer.write(sound), noErr},
        {writer.setClient(standardFormat()), kExtAudioFileError_InvalidOperationOrder}, // frames are in the old one
    };
    for (std::size_t i = 0; i < std::size(refusals); ++i)
        EXPECT_EQ(refusals[i].first, refusals[i].second) << "call " << i;
    EXPECT_EQ(reader.tell(), 0);
    EXPECT_EQ(reader.read(10).size(), 40U) << "still of the first client format";
    EXPECT_EQ(reader.tell(), 10);
}

TEST(FileService, TakesChannelLayoutsThatNameItsChannels)
{
    const OpenFile file(make({.frames = 100}));
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
        EXPECT_EQ(ExtAudioFileSetProperty(file.file, kExtAudioFileProperty_ClientChannelLayout, row[3], layout), status)
            << testing::PrintToString(row);
    }
}

} // namespace
} // namespace kx::test
