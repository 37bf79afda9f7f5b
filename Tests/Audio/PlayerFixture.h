#pragma once

#include "KXFW/Audio/KXAFilePlayer.h"
#include "Tests/Audio/AudioDataFixtures.h"
#include "Tests/Support/Handshake.h"
#include "Tests/Support/ScopedVirtualHardware.h"

#include <mutex>
#include <thread>

namespace kx::test
{

/// Bounds a loop that waits for other threads.
class Deadline
{
public:
    [[nodiscard]] bool passed() const { return std::chrono::steady_clock::now() > end_; }

private:
    std::chrono::steady_clock::time_point end_ = std::chrono::steady_clock::now() + kHangDeadline;
};

/// Waits until `reached` is true, which other threads bring about.
template <class Condition>::testing::AssertionResult eventually(Condition reached)
{
    for (const Deadline deadline; !reached();) {
        if (deadline.passed())
            return ::testing::AssertionFailure() << "never came";
        std::this_thread::yield();
    }
    return ::testing::AssertionSuccess();
}

/// A player on a virtual 16-bit device whose clock the test turns, and what the device got.
class PlayerTest : public testing::Test
{
protected:
    PlayerTest()
    {
        VirtualHardware::instance().setCapture([this](const std::string &, std::span<const std::byte> bytes) {
            const std::lock_guard guard(lock_);
            const auto *samples = reinterpret_cast<const int16_t *>(bytes.data());
            for (std::size_t i = 0; i + 1 < bytes.size() / 2; i += 2)
                heard_.push_back(indexOf(samples[i], samples[i + 1]));
        });
    }
    ~PlayerTest() override { VirtualHardware::instance().setCapture(nullptr); }

    /// A player made when all that was due has been told, so that it does not move for what came before it.
    static std::shared_ptr<KXAFilePlayer> afterNotifications()
    {
        static Handshake told; // of the process: a late call finds it
        const int before = told.count();
        const AudioObjectPropertyAddress sleeping{kAudioHardwarePropertySleepingIsAllowed,
                                                  kAudioObjectPropertyScopeWildcard,
                                                  kAudioObjectPropertyElementWildcard};
        const auto listener = [](AudioObjectID, uint32_t, const AudioObjectPropertyAddress *, void *) {
            told.announce();
            return noErr;
        };
        AudioObjectAddPropertyListener(kAudioObjectSystemObject, &sleeping, listener, nullptr);
        uint32_t allowed = 1;
        uint32_t size = sizeof allowed;
        AudioObjectGetPropertyData(kAudioObjectSystemObject, &sleeping, 0, nullptr, &size, &allowed);
        allowed = 1 - allowed;
        AudioObjectSetPropertyData(kAudioObjectSystemObject, &sleeping, 0, nullptr, sizeof allowed, &allowed);
        EXPECT_TRUE(told.await(before + 1));
        AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &sleeping, listener, nullptr);
        return KXAFilePlayer::player();
    }

    static MediaSpec indexed(int64_t frames) { return {.frames = frames, .signal = Signal::Index}; }

    void load(int64_t frames) { ASSERT_TRUE(player->loadFileAtURL(make(indexed(frames)))); }

    /// Turns the device's clock by `frames` frames of a running player.
    void advance(uint32_t frames)
    {
        uint64_t taken = 0;
        for (const Deadline deadline; taken < frames && player->isPlaying() && !deadline.passed();)
            taken += VirtualHardware::instance().advance(static_cast<uint32_t>(frames - taken));
    }

    /// Turns the clock until the player has stopped itself and the device has played out.
    void playOut()
    {
        for (const Deadline deadline; player->isPlaying() && !deadline.passed();)
            VirtualHardware::instance().advance(512);
        for (const Deadline deadline; VirtualHardware::instance().openStreams() > 0 && !deadline.passed();)
            VirtualHardware::instance().advance(512);
        EXPECT_FALSE(player->isPlaying());
    }

    /// The frame numbers that the device got since the last call.
    std::vector<int64_t> heard()
    {
        const std::lock_guard guard(lock_);
        return std::exchange(heard_, {});
    }

    /// The first `count` numbers heard are those of passes of [start, end) from `from` on.
    static void expectPasses(const std::vector<int64_t> &heard, std::size_t count, int64_t from, int64_t start,
                             int64_t end)
    {
        ASSERT_GE(heard.size(), count);
        int64_t expected = from;
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_EQ(heard[i], expected) << "frame " << i << " of range " << start << ".." << end;
            if (++expected == end)
                expected = start;
        }
    }

    ScopedVirtualHardware hardware{VirtualClock::Manual};
    std::shared_ptr<KXAFilePlayer> player = afterNotifications();

private:
    std::mutex lock_;
    std::vector<int64_t> heard_;
};

} // namespace kx::test
