#include "FileTestSupport.h"
#include "KXFW/Platform/AudioFiles/FrameMath.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <random>
#include <thread>

namespace kx::test
{

namespace
{

OSStatus setProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property, const void *data, uint32_t size)
{
    return ExtAudioFileSetProperty(file, property, size, data);
}

} // namespace

TEST(FileService, RefusesMisuseWithAStatusOfItsOwn)
{
    const auto path = make({.frames = 100});
    const auto standard = standardFormat();
    ExtAudioFileRef reader = nullptr;
    ExtAudioFileRef writer = nullptr;
    ASSERT_EQ(ExtAudioFileOpenURL(path, &reader), noErr);
    ASSERT_EQ(ExtAudioFileCreateWithURL(temporaryPath("misuse"), kAudioFileAIFFType, &standard, nullptr, 1, &writer),
              noErr);
    std::vector<int16_t> sound(200);
    AudioBufferList list{1, {{2, 400, sound.data()}}};
    uint32_t frames = 10;
    int64_t frame = 0;
    EXPECT_EQ(ExtAudioFileOpenURL(path, nullptr), kExtAudioFileError_InvalidPropertySize);
    EXPECT_EQ(ExtAudioFileRead(nullptr, &frames, &list), kAudioFileNotOpenError);
    EXPECT_EQ(ExtAudioFileTell(nullptr, &frame), kAudioFileNotOpenError);
    EXPECT_EQ(ExtAudioFileDispose(nullptr), kAudioFileNotOpenError);
    EXPECT_EQ(ExtAudioFileRead(writer, &frames, &list), kExtAudioFileError_InvalidOperationOrder);
    EXPECT_EQ(ExtAudioFileSeek(writer, 0), kExtAudioFileError_InvalidOperationOrder);
    EXPECT_EQ(ExtAudioFileWrite(reader, 1, &list), kExtAudioFileError_InvalidOperationOrder);

    ASSERT_EQ(setProperty(reader, kExtAudioFileProperty_ClientDataFormat, &standard, 40), noErr);
    frames = 101;
    EXPECT_EQ(ExtAudioFileRead(reader, &frames, &list), kExtAudioFileError_InvalidDataFormat) << "no room";
    frames = 10;
    EXPECT_EQ(ExtAudioFileRead(reader, &frames, nullptr), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(ExtAudioFileRead(reader, nullptr, &list), kExtAudioFileError_InvalidPropertySize);
    frames = 10;
    EXPECT_EQ(ExtAudioFileRead(reader, &frames, &list), noErr) << "the refusals moved nothing";
    EXPECT_EQ(frames, 10U);
    EXPECT_EQ(list.mBuffers[0].mDataByteSize, 40U);
    EXPECT_EQ(ExtAudioFileTell(reader, &frame), noErr);
    EXPECT_EQ(frame, 10);

    list.mBuffers[0].mDataByteSize = 400;
    EXPECT_EQ(ExtAudioFileWrite(writer, 100, &list), noErr);
    EXPECT_EQ(setProperty(writer, kExtAudioFileProperty_ClientDataFormat, &standard, 40),
              kExtAudioFileError_InvalidOperationOrder)
        << "frames were written in the old format";
    EXPECT_EQ(ExtAudioFileDispose(reader), noErr);
    EXPECT_EQ(ExtAudioFileDispose(writer), noErr);
}

TEST(FileService, ChecksPropertiesAndTheirSizes)
{
    OpenFile file(make({.rate = 48000, .frames = 100}));
    EXPECT_TRUE(sameFormat(file.format(kExtAudioFileProperty_ClientDataFormat),
                           interleaved(48000, 2, 32, kAudioFormatFlagIsFloat)));
    uint8_t room[64];
    uint32_t size = 39;
    EXPECT_EQ(ExtAudioFileGetProperty(file.get(), kExtAudioFileProperty_FileDataFormat, &size, room),
              kExtAudioFileError_InvalidPropertySize);
    size = sizeof room;
    EXPECT_EQ(ExtAudioFileGetProperty(file.get(), kExtAudioFileProperty_FileLengthFrames, &size, room), noErr);
    EXPECT_EQ(size, 8U);
    EXPECT_EQ(ExtAudioFileGetProperty(file.get(), fourCharCode("none"), &size, room),
              kExtAudioFileError_InvalidProperty);
    EXPECT_EQ(setProperty(file.get(), kExtAudioFileProperty_FileLengthFrames, room, 8),
              kExtAudioFileError_InvalidProperty);

    auto client = standardFormat();
    EXPECT_EQ(setProperty(file.get(), kExtAudioFileProperty_ClientDataFormat, &client, 39),
              kExtAudioFileError_InvalidPropertySize);
    client.mFormatID = kAudioFormatFLAC;
    EXPECT_EQ(file.setClient(client), kExtAudioFileError_NonPCMClientFormat);
    client = standardFormat();
    client.mBytesPerFrame = 3;
    EXPECT_EQ(file.setClient(client), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(file.setClient(standardFormat(0)), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(file.setClient(standardFormat(44100, 0)), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(file.format(kExtAudioFileProperty_ClientDataFormat).mSampleRate, 48000) << "refusals change nothing";
}

TEST(FileService, TakesLayoutsThatNameTheClientsChannels)
{
    OpenFile file(make({.frames = 100}), standardFormat());
    const auto set = [&](uint32_t tag, uint32_t bitmap, uint32_t descriptions, uint32_t size) {
        AudioChannelLayout layout[3] = {};
        layout[0].mChannelLayoutTag = tag;
        layout[0].mChannelBitmap = bitmap;
        layout[0].mNumberChannelDescriptions = descriptions;
        return setProperty(file.get(), kExtAudioFileProperty_ClientChannelLayout, layout, size);
    };
    EXPECT_EQ(set(0, kAudioChannelBit_Left | kAudioChannelBit_Right, 0, 32), noErr);
    EXPECT_EQ(set(0, 3, 0, 12), noErr);
    EXPECT_EQ(set(0, 0, 0, 32), noErr);
    EXPECT_EQ(set(0, 0, 2, 52), noErr);
    EXPECT_EQ(set(101U << 16 | 2, 0, 0, 32), noErr);
    EXPECT_EQ(set(0, 7, 0, 32), kExtAudioFileError_InvalidChannelMap);
    EXPECT_EQ(set(100U << 16 | 1, 0, 0, 32), kExtAudioFileError_InvalidChannelMap);
    EXPECT_EQ(set(0, 0, 1, 32), kExtAudioFileError_InvalidChannelMap);
    EXPECT_EQ(set(0, 3, 0, 11), kExtAudioFileError_InvalidPropertySize);
    EXPECT_EQ(set(0, 0, 2, 51), kExtAudioFileError_InvalidPropertySize);
    EXPECT_EQ(set(0, 0, UINT32_MAX, 52), kExtAudioFileError_InvalidPropertySize);
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

TEST(FileService, FilesOnDifferentThreadsAreIndependent)
{
    const MediaSpec specs[] = {{.codec = Codec::FLAC, .rate = 48000, .frames = 60'000},
                               {.codec = Codec::Vorbis, .frames = 60'000},
                               {.codec = Codec::MP3, .frames = 60'000},
                               {.codec = Codec::WAV, .frames = 60'000, .bits = 24}};
    for (const MediaSpec &spec : specs)
        make(spec);
    std::vector<std::thread> threads;
    for (const MediaSpec &spec : specs)
        threads.emplace_back([&spec] {
            for (int round = 0; round < 5; ++round) {
                OpenFile file(make(spec), standardFormat());
                const auto straight = readAll<int16_t>(file, 1000);
                ASSERT_EQ(ExtAudioFileSeek(file.get(), spec.frames / 2), noErr);
                const auto half = readAll<int16_t>(file, 777);
                ASSERT_TRUE(std::equal(half.rbegin(), half.rend(), straight.rbegin()));
                ExtAudioFileRef broken = nullptr;
                ASSERT_EQ(ExtAudioFileOpenURL("/dev/null", &broken), kAudioFileUnsupportedFileTypeError);
                const auto path = temporaryPath("parallel.aiff");
                const auto format = standardFormat();
                ExtAudioFileRef copy = nullptr;
                ASSERT_EQ(ExtAudioFileCreateWithURL(path, kAudioFileAIFFType, &format, nullptr, 1, &copy), noErr);
                auto samples = straight;
                AudioBufferList list{1, {{2, static_cast<uint32_t>(samples.size() * 2), samples.data()}}};
                ASSERT_EQ(ExtAudioFileWrite(copy, static_cast<uint32_t>(samples.size() / 2), &list), noErr);
                ASSERT_EQ(ExtAudioFileDispose(copy), noErr);
                OpenFile again(path, format);
                ASSERT_EQ(readAll<int16_t>(again), straight);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
}

} // namespace kx::test
