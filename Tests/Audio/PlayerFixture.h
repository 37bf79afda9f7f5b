#pragma once

#include "KXFW/Audio/KXAFilePlayer.h"
#include "KXFW/Platform/Dispatch/TimerSource.h"
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
    const std::function<bool()> &beforeSlice = [] { return false; }, const KXAExportOptions &options = {})
{
    Outcome outcome;
    Handshake ended;
    const auto beforeEach = [&](double percent) {
        outcome.progress.push_back(percent);
        return beforeSlice();
    };
    const auto end = [&](const std::string &failure) {
        outcome.completed = failure.empty();
        outcome.failure = failure;
        ended.announce();
    };
    player->exportAsyncWithURL(
        url, beforeEach, [=] { end(""); }, [=](const NSException &exception) { end(exception.reason()); }, options);
    EXPECT_TRUE(ended.await());
    return outcome;
}

/// The numbers of frames that a 16-bit device got.
inline void appendIndices(std::span<const std::byte> bytes, std::vector<int64_t> &numbers)
{
    const auto *samples = reinterpret_cast<const int16_t *>(bytes.data());
    for (std::size_t i = 0; i + 1 < bytes.size() / 2; i += 2)
        numbers.push_back(indexOf(samples[i], samples[i + 1]));
}

/// The samples of `frames`, left and right, are those that are wanted, or `tolerance` steps beside them.
inline void expectSamples(const std::vector<int64_t> &frames, const std::vector<int64_t> &wanted, int tolerance)
{
    ASSERT_GE(wanted.size(), frames.size());
    for (std::size_t i = 0; i < frames.size(); ++i)
        for (const int shift : {0, 16})
            ASSERT_NEAR(static_cast<int16_t>(frames[i] >> shift), static_cast<int16_t>(wanted[i] >> shift), tolerance)
                << "frame " << i;
}

/// A player on a virtual 16-bit device whose clock the test turns, and what the device got.
class PlayerTest : public testing::Test
{
protected:
    PlayerTest()
    {
        VirtualHardware::instance().setCapture([this](const std::string &, std::span<const std::byte> bytes) {
            const std::lock_guard guard(lock_);
            appendIndices(bytes, heard_);
        });
    }
    ~PlayerTest() override { VirtualHardware::instance().setCapture(nullptr); }

    /// Waits until listeners have heard of all that has changed.
    static testing::AssertionResult allIsTold()
    {
        return eventually([] {
            const auto untold =
                KXAFilePlayer::prv_propertyAddressWithPropertyID(kAudioHardwarePropertyChangesAreUntold);
            uint32_t value = 1;
            uint32_t size = sizeof value;
            AudioObjectGetPropertyData(kAudioObjectSystemObject, &untold, 0, nullptr, &size, &value);
            return value == 0;
        });
    }

    void load(const Media &media) { ASSERT_TRUE(player->loadFileAtURL(make(media))); }

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
    /// It does not move for what came before it.
    std::shared_ptr<KXAFilePlayer> player = allIsTold() ? KXAFilePlayer::player() : nullptr;

private:
    std::mutex lock_;
    std::vector<int64_t> heard_;
};

} // namespace kx::test
