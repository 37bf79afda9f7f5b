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

TEST(GrowingMalloc, GivesTwiceTheSizeWhenItCanBeHad)
{
    uint64_t size = 16777217; // counted by a 32-bit float
    const std::unique_ptr<void, void (*)(void *)> block(mul_malloc(&size), std::free);
    EXPECT_EQ(size, 33554432u);
    std::memset(block.get(), 1, size);
}

#ifndef KX_SANITIZED // a sanitizer ends the program where malloc would give null
/// In a process of its own, which has room for `room` bytes more.
bool growsTo(uint64_t given, uint64_t asked, uint64_t room)
{
    const pid_t child = fork();
    if (child == 0) {
        std::ifstream statistics("/proc/self/statm");
        uint64_t pages = 0;
        statistics >> pages;
        const rlimit limit{pages * 4096 + room, pages * 4096 + room};
        setrlimit(RLIMIT_AS, &limit);
        uint64_t size = asked;
        void *block = mul_malloc(&size);
        const uint64_t off = size > given ? size - given : given - size;
        _exit(off < 256 && (block != nullptr) == (given > 0) ? 0 : 1); // a factor is not exact
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status == 0;
}

TEST(GrowingMalloc, StepsDownToWhatCanBeHad)
{
    constexpr uint64_t kMiB = 1 << 20;
    for (const uint64_t given : {2200 * kMiB, 1650 * kMiB, 1320 * kMiB, 1100 * kMiB, 0 * kMiB})
        EXPECT_TRUE(growsTo(given, 1100 * kMiB, std::max(given, 64 * kMiB) + 16 * kMiB)) << given;
    for (const uint64_t asked : {uint64_t{1} << 62, uint64_t{1} << 63, UINT64_MAX})
        EXPECT_TRUE(growsTo(0, asked, 64 * kMiB)) << asked;
}
#endif

TEST(Bits, OfWholeWordsAreInverted)
{
    for (int64_t length = -5; length < 20; ++length) {
        std::vector<uint8_t> bytes(24, 0x5A);
        auto expected = bytes;
        std::fill_n(expected.begin() + 1, std::max<int64_t>(length / 4 * 4, 0), 0xA5);
        invertBits(bytes.data() + 1, length); // at an odd address
        EXPECT_EQ(bytes, expected) << length;
    }
}

TEST(BufferLists, AreCopiedWithMemoryOfTheirOwn)
{
    kx::BufferList source(2, 2, 40);
    source.get()->mBuffers[1].mDataByteSize = 0;
    kx::BufferList room(2, 0, 0);
    std::memset(source.data(0), 7, 40);
    KXAudioUtil::CopyABL(room.get(), source.get());
    for (uint32_t i = 0; i < 2; ++i) {
        const AudioBuffer &copy = room.get()->mBuffers[i];
        EXPECT_EQ(copy.mNumberChannels, 2u);
        ASSERT_EQ(copy.mDataByteSize, i == 0 ? 40u : 0u);
        ASSERT_NE(copy.mData, source.data(i));
        EXPECT_EQ(std::memcmp(copy.mData, source.data(i), copy.mDataByteSize), 0) << i;
        std::free(copy.mData);
    }
}

TEST(TestFile, HoldsEverySampleValueOnceInOrder)
{
    const auto home = temporaryPath("home");
    std::filesystem::create_directory(home);
    setenv("HOME", home.c_str(), 1);
    KXAudioUtil::makeTestFile();
    KXAudioUtil::makeTestFile(); // takes the place of the first
    std::vector<int32_t> ramp;
    for (int32_t value = -32768; value < 32768; ++value)
        ramp.insert(ramp.end(), 2, value);
    EXPECT_TRUE(readBytes(home / "linear_dont_play.wav") == waveBytes(44100, 2, 16, ramp));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(home), {}), 1);
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
