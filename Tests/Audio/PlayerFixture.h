#pragma once

#include "KXFW/Audio/KXAFilePlayer.h"
#include "Tests/Audio/AudioDataFixtures.h"
#include "Tests/Support/Eventually.h"
#include "Tests/Support/ScopedVirtualHardware.h"

#include <mutex>

namespace kx::test
{

/// What an export told.
struct Outcome {
    bool completed = false;
    std::string failure; ///< the reason
    std::vector<double> progress;
};

/// Exports the range and waits for the end; `beforeSlice` may cancel.
inline Outcome exportRange(
    const std::shared_ptr<KXAFilePlayer> &player, const std::filesystem::path &url,
    const std::function<bool()> &beforeSlice = [] { return false; })
{
    Outcome outcome;
    Handshake ended;
    player->exportAsyncWithURL(
        url,
        [&](double percent) {
            outcome.progress.push_back(percent);
            return beforeSlice();
        },
        [&] {
            outcome.completed = true;
            ended.announce();
        },
        [&](const NSException &exception) {
            outcome.failure = exception.reason();
            ended.announce();
        });
    EXPECT_TRUE(ended.await());
    return outcome;
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

    void load(const MediaSpec &spec) { ASSERT_TRUE(player->loadFileAtURL(make(spec))); }

    /// Turns the device's clock by `frames` frames of a running player, and gives what the device got.
    std::vector<int64_t> advance(uint32_t frames)
    {
        uint64_t taken = 0;
        for (const Deadline deadline; taken < frames && player->isPlaying() && !deadline.passed();)
            taken += VirtualHardware::instance().advance(static_cast<uint32_t>(frames - taken));
        return heard();
    }

    /// Plays until the player has stopped itself and the device has played out.
    std::vector<int64_t> playOut()
    {
        player->play();
        for (const Deadline deadline; player->isPlaying() && !deadline.passed();)
            VirtualHardware::instance().advance(512);
        for (const Deadline deadline; VirtualHardware::instance().openStreams() > 0 && !deadline.passed();)
            VirtualHardware::instance().advance(512);
        EXPECT_FALSE(player->isPlaying());
        return heard();
    }

    /// The frame numbers that the device got since the last call.
    std::vector<int64_t> heard()
    {
        const std::lock_guard guard(lock_);
        return std::exchange(heard_, {});
    }

    ScopedVirtualHardware hardware{VirtualClock::Manual};
    std::shared_ptr<KXAFilePlayer> player = afterNotifications();

private:
    std::mutex lock_;
    std::vector<int64_t> heard_;
};

} // namespace kx::test
