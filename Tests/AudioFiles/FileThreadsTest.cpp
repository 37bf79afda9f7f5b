#include "FileTestSupport.h"

#include "KXFW/Platform/AudioFiles/DiskDeadline.h"

#include <thread>

namespace kx::test
{

TEST(FileThreads, FilesAreIndependent)
{
    std::vector<std::jthread> threads;
    for (const Codec codec : {Codec::FLAC, Codec::Vorbis, Codec::MP3, Codec::WAV})
        threads.emplace_back([codec] {
            for (int round = 0; round < 5; ++round) {
                OpenFile file(make({.codec = codec, .rate = 48000, .frames = 60'000}), standardFormat());
                const auto straight = readAll<int16_t>(file, 1000);
                ASSERT_EQ(ExtAudioFileSeek(file.file, 30'000), noErr);
                const auto half = readAll<int16_t>(file, 777);
                ASSERT_TRUE(std::equal(half.rbegin(), half.rend(), straight.rbegin()));
                ASSERT_EQ(OpenFile("/dev/null").status, kAudioFileUnsupportedFileTypeError);
                const auto path = temporaryPath("parallel.aiff");
                NewFile copy(path);
                ASSERT_EQ(copy.write(straight), noErr);
                ASSERT_EQ(copy.close(), noErr);
                OpenFile again(path, standardFormat());
                ASSERT_EQ(readAll<int16_t>(again), straight);
            }
        });
}

TEST(DiskDeadline, TheOutermostThatIsSetCountsUntilItEnds)
{
    using kx::DiskDeadline;
    const DiskDeadline none(DiskDeadline::kNone);
    {
        const DiskDeadline counts(std::chrono::seconds(1));
        const uint64_t number = DiskDeadline::number();
        EXPECT_NE(number, 0U);
        {
            const DiskDeadline inside(std::chrono::hours(1));
            EXPECT_EQ(DiskDeadline::number(), number);
        }
        EXPECT_TRUE(DiskDeadline::current()) << "it outlives those inside of it";
    }
    EXPECT_FALSE(DiskDeadline::current());
    const kx::DiskPatience patience;
    const DiskDeadline ignored(std::chrono::seconds(1));
    EXPECT_EQ(DiskDeadline::number(), 0U);
}

} // namespace kx::test
