#include "FileTestSupport.h"
#include "KXFW/Platform/AudioFiles/FrameMath.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <random>

namespace kx::test
{

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
    EXPECT_TRUE(sameFormat(file.format(kExtAudioFileProperty_ClientDataFormat),
                           interleaved(48000, 2, 32, kAudioFormatFlagIsFloat)));
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
    client = standardFormat();
    client.mBytesPerFrame = 3;
    for (const auto &wrong : {client, standardFormat(0), standardFormat(44100, 0)})
        EXPECT_EQ(file.setClient(wrong), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(file.format(kExtAudioFileProperty_ClientDataFormat).mSampleRate, 48000) << "refusals change nothing";
}

TEST(FileService, TakesLayoutsThatNameTheClientsChannels)
{
    OpenFile file(make({.frames = 100}), standardFormat());
    const struct {
        uint32_t tag, bitmap, descriptions, bytes;
        OSStatus status;
    } rows[] = {
        {0, kAudioChannelBit_Left | kAudioChannelBit_Right, 0, 12, noErr},
        {0, 0, 2, 52, noErr},
        {101U << 16 | 2, 0, 0, 32, noErr},
        {0, 7, 0, 32, kExtAudioFileError_InvalidChannelMap},
        {100U << 16 | 1, 0, 0, 32, kExtAudioFileError_InvalidChannelMap},
        {0, 0, 1, 32, kExtAudioFileError_InvalidChannelMap},
        {0, 3, 0, 11, kExtAudioFileError_InvalidPropertySize},
        {0, 0, 2, 51, kExtAudioFileError_InvalidPropertySize},
        {0, 0, UINT32_MAX, 52, kExtAudioFileError_InvalidPropertySize},
    };
    for (const auto &[tag, bitmap, descriptions, bytes, status] : rows) {
        AudioChannelLayout layout[3] = {};
        layout[0].mChannelLayoutTag = tag;
        layout[0].mChannelBitmap = bitmap;
        layout[0].mNumberChannelDescriptions = descriptions;
        EXPECT_EQ(ExtAudioFileSetProperty(file.get(), kExtAudioFileProperty_ClientChannelLayout, bytes, layout), status)
            << tag << ", " << bitmap << ", " << descriptions << ", " << bytes << " bytes";
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

TEST(FileService, FrameNumbersAreExactAtAnyLength)
{
    std::mt19937_64 random(3);
    for (int i = 0; i < 10'000; ++i) {
        const auto in = static_cast<int64_t>(1000 + random() % 767'001);
        const auto out = static_cast<int64_t>(1000 + random() % 767'001);
        const auto frame = static_cast<int64_t>(random() % (1ULL << 40));
        const FrameMath math(static_cast<double>(in), static_cast<double>(out));
        const int64_t floor = math.outFloor(frame);
        // The products of 40 and 20 bits are exact in 64.
        ASSERT_TRUE(floor * in <= frame * out && (floor + 1) * in > frame * out) << frame << ' ' << in << ' ' << out;
        ASSERT_EQ(math.outCeil(frame), floor + (floor * in == frame * out ? 0 : 1));
        if (in >= out) {
            ASSERT_EQ(math.outCeil(math.inFloor(floor)), floor) << "a client frame is found again";
        }
    }
}

} // namespace kx::test
