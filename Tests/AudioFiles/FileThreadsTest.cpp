#include "FileTestSupport.h"
#include "Tests/Support/Media.h"

#include <thread>

namespace kx::test
{

TEST(FileThreads, FilesAreIndependent)
{
    const MediaSpec specs[] = {{.codec = Codec::FLAC, .rate = 48000, .frames = 60'000},
                               {.codec = Codec::Vorbis, .frames = 60'000},
                               {.codec = Codec::MP3, .frames = 60'000},
                               {.codec = Codec::WAV, .frames = 60'000, .bits = 24}};
    for (const MediaSpec &spec : specs)
        make(spec);
    std::vector<std::jthread> threads;
    for (const MediaSpec &spec : specs)
        threads.emplace_back([&spec] {
            for (int round = 0; round < 5; ++round) {
                OpenFile file(make(spec), standardFormat());
                const auto straight = readAll<int16_t>(file, 1000);
                ASSERT_EQ(ExtAudioFileSeek(file.get(), spec.frames / 2), noErr);
                const auto half = readAll<int16_t>(file, 777);
                ASSERT_TRUE(std::equal(half.rbegin(), half.rend(), straight.rbegin()));
                ASSERT_EQ(OpenFile("/dev/null").status(), kAudioFileUnsupportedFileTypeError);
                const auto path = temporaryPath("parallel.aiff");
                NewFile copy(path);
                ASSERT_EQ(copy.write(straight), noErr);
                ASSERT_EQ(copy.close(), noErr);
                OpenFile again(path, standardFormat());
                ASSERT_EQ(readAll<int16_t>(again), straight);
            }
        });
}

} // namespace kx::test
