#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Platform/Foundation/BufferList.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kx::test;

namespace
{

using Block = std::unique_ptr<void, void (*)(void *)>;

Block grow(uint64_t &size)
{
    return {mul_malloc(&size), std::free};
}

TEST(GrowingMalloc, GivesTwiceTheSizeWhenItCanBeHad)
{
    for (const auto &[asked, given] :
         {std::pair<uint64_t, uint64_t>{1000, 2000}, {0, 0}, {1, 2}, {16777217, 33554432}}) {
        uint64_t size = asked;
        const Block block = grow(size);
        ASSERT_TRUE(block) << asked;
        EXPECT_EQ(size, given);
        std::memset(block.get(), 1, size);
    }
}

#ifndef KX_SANITIZED // a sanitizer ends the program where malloc would give null
TEST(GrowingMalloc, StepsDownToWhatCanBeHad)
{
    constexpr uint64_t kMiB = 1 << 20;
    const std::vector<std::pair<uint64_t, uint64_t>> cases{
        {1100 * kMiB, 2200 * kMiB},                                                         // factor 2
        {1100 * kMiB, 1650 * kMiB}, {1100 * kMiB, 1320 * kMiB}, {1100 * kMiB, 1100 * kMiB}, // 1.5, 1.2, 1
        {1100 * kMiB, 0},
    };
    for (const auto &[asked, given] : cases) {
        const pid_t child = fork();
        if (child == 0) {
            std::ifstream statistics("/proc/self/statm");
            uint64_t pages = 0;
            statistics >> pages;
            const rlim_t room = pages * 4096 + std::max<uint64_t>(given, 64 * kMiB) + 16 * kMiB;
            const rlimit limit{room, room};
            setrlimit(RLIMIT_AS, &limit);
            uint64_t size = asked;
            void *block = mul_malloc(&size);
            const auto off = size > given ? size - given : given - size;
            _exit(off < 256 && (block != nullptr) == (given > 0) ? 0 : 1); // a factor is not exact
        }
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << asked << " -> " << given;
    }
    for (uint64_t asked : {uint64_t{1} << 62, uint64_t{1} << 63, UINT64_MAX}) {
        EXPECT_FALSE(grow(asked));
        EXPECT_EQ(asked, 0u);
    }
}
#endif

TEST(Bits, OfWholeWordsAreInverted)
{
    for (int64_t length = -5; length < 20; ++length) {
        std::vector<uint8_t> bytes(24, 0x5A);
        invertBits(bytes.data() + 1, length); // at an odd address
        for (int64_t i = 0; i < 23; ++i)
            EXPECT_EQ(bytes[static_cast<std::size_t>(i + 1)], i < length / 4 * 4 ? 0xA5 : 0x5A) << length << ' ' << i;
    }
}

TEST(BufferLists, AreCopiedWithMemoryOfTheirOwn)
{
    kx::BufferList source(3, 2, 40);
    source.get()->mBuffers[1].mDataByteSize = 0;
    kx::BufferList room(3, 0, 0);
    for (uint32_t i = 0; i < 3; ++i)
        std::memset(source.data(i), static_cast<int>(i + 1), 40);
    KXAudioUtil::CopyABL(room.get(), source.get());
    ASSERT_EQ(room.get()->mNumberBuffers, 3u);
    for (uint32_t i = 0; i < 3; ++i) {
        const AudioBuffer &copy = room.get()->mBuffers[i];
        const Block block(copy.mData, std::free);
        EXPECT_EQ(copy.mNumberChannels, 2u);
        ASSERT_EQ(copy.mDataByteSize, i == 1 ? 0u : 40u);
        EXPECT_NE(copy.mData, source.data(i));
        EXPECT_EQ(std::memcmp(copy.mData, source.data(i), copy.mDataByteSize), 0) << i;
    }
}

TEST(TestFile, HoldsEverySampleValueOnceInOrder)
{
    const auto home = temporaryPath("home");
    std::filesystem::create_directory(home);
    setenv("HOME", home.c_str(), 1);
    KXAudioUtil::makeTestFile();
    KXAudioUtil::makeTestFile(); // takes the place of the first
    ASSERT_EQ(std::distance(std::filesystem::directory_iterator(home), {}), 1);
    const auto raw = temporaryPath("ramp.raw");
    const ToolResult read = runTool({"sox", home / "linear_dont_play.wav", "-t", "s16", raw});
    ASSERT_EQ(read.status, 0) << read.errors;
    EXPECT_EQ(runTool({"soxi", "-r", home / "linear_dont_play.wav"}).output, "44100\n");
    const std::vector<uint8_t> bytes = readBytes(raw);
    ASSERT_EQ(bytes.size(), 262144u);
    for (int64_t i = 0; i < 65536; ++i) {
        int16_t frame[2];
        std::memcpy(frame, bytes.data() + i * 4, sizeof frame);
        ASSERT_EQ(frame[0], i - 32768);
        ASSERT_EQ(frame[1], i - 32768);
    }
}

TEST(TestFile, ThatCannotBeMadeIsAnException)
{
    try {
        KXAudioUtil::makeTestFile("/nowhere");
        FAIL();
    } catch (const NSException &exception) {
        EXPECT_EQ(exception.name(), "_ASSERT_NOERR failed exception");
        EXPECT_TRUE(exception.reason().starts_with("+[KXAudioUtil makeTestFile]:")) << exception.reason();
        EXPECT_EQ(exception.userInfo().at("error").code, kAudioFileFileNotFoundError);
    }
}

} // namespace
