// The example with an effect of its own, run as it stands: what it plays is its file in a loop, with echoes.
#define main runEchoExample
#include "Examples/echo.cpp"
#undef main

#include "Tests/Support/Media.h"
#include "kx/testing.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

namespace
{

/// The standard input is a pipe for a while.
class TypedInput
{
public:
    TypedInput() : before_(dup(STDIN_FILENO))
    {
        int ends[2] = {};
        EXPECT_EQ(pipe(ends), 0);
        EXPECT_EQ(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
        close(ends[0]);
        keyboard_ = ends[1];
    }
    ~TypedInput()
    {
        close(keyboard_);
        dup2(before_, STDIN_FILENO);
        close(before_);
    }
    TypedInput(const TypedInput &) = delete;
    TypedInput &operator=(const TypedInput &) = delete;

    void pressReturn() const { EXPECT_EQ(write(keyboard_, "\n", 1), 1); }

private:
    int before_;
    int keyboard_ = -1;
};

} // namespace

TEST(Examples, EchoLoopsWithItsEffect)
{
    constexpr std::size_t kFrames = 15000;
    constexpr std::size_t kDelay = 11025;
    constexpr std::size_t kPlayed = 40000;
    std::mutex lock;
    std::vector<int16_t> heard;
    kx::VirtualSound sound(kx::VirtualSound::Clock::Manual);
    sound.onTaken([&](const std::string &, std::span<const std::byte> bytes) {
        const std::lock_guard guard(lock);
        const std::size_t before = heard.size();
        heard.resize(before + bytes.size() / 2);
        std::memcpy(&heard[before], bytes.data(), bytes.size());
    });
    const kx::test::Media media{.frames = kFrames, .signal = kx::test::Signal::Noise};
    std::string file = kx::test::make(media).string();
    std::string program = "echo";
    char *arguments[] = {program.data(), file.data(), nullptr};

    const TypedInput input;
    int status = -1;
    std::thread example([&] { status = runEchoExample(2, arguments); });
    EXPECT_TRUE(sound.waitForStreams(1));
    sound.advance(kx::Frames(kPlayed));
    input.pressReturn();
    example.join();
    EXPECT_EQ(status, 0);

    std::vector<int16_t> once(2 * kFrames);
    ASSERT_EQ(kx::File::open(file).value().read(once).value(), kFrames);
    ASSERT_GE(heard.size(), 2 * kPlayed);
    std::vector<float> wanted(2 * kPlayed);
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        wanted[i] = once[i % once.size()] + (i >= 2 * kDelay ? wanted[i - 2 * kDelay] / 2 : 0);
        ASSERT_NEAR(heard[i], std::clamp(wanted[i], -32768.0F, 32767.0F), 1) << "sample " << i;
    }
    sound.onTaken({});
}
