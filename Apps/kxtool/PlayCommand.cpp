#include "Apps/kxtool/Commands.h"
#include "Apps/kxtool/Failure.h"
#include "Apps/kxtool/Input.h"
#include "Apps/kxtool/Progress.h"
#include "Apps/kxtool/Waiter.h"

#include <algorithm>
#include <mutex>
#include <optional>

namespace kxtool
{

namespace
{

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

void chooseDevice(kx::Player &player, const PlayOptions &options)
{
    if (!options.device)
        return;
    const auto device = kx::deviceNamed(*options.device);
    if (!device)
        throw Failure(options.file, "cannot be played: no device is named " + printable(*options.device));
    require(player.setOutputDevice(device->id));
}

void placePlayer(kx::Player &player, const PlayOptions &options)
{
    const kx::Range range = rangeIn(options.file, options.range, player.length());
    const kx::Frames position = options.position ? kx::Frames(*options.position) : range.start;
    rangeIn(options.file, {{}, position.count()}, player.length());
    require(player.setRange(range));
    require(player.setPlayMode(options.loop ? kx::PlayMode::Loop : kx::PlayMode::RangeOnce));
    require(player.seek(position));
}

std::string progressOf(const kx::Player &player, kx::Frames frame)
{
    std::string text = clockTime(frame.count()) + " / " + clockTime(player.length().count()) + "  frame " +
                       std::to_string(frame.count());
    if (const uint64_t underruns = player.underruns(); underruns > 0)
        text += "  underruns: " + std::to_string(underruns);
    return text;
}

/// Plays until an interrupt, the end, or the time is over.
void playOn(kx::Player &player, const PlayOptions &options, Waiter &waiter)
{
    const kx::Subscription ended = player.onEnded([&] { waiter.finish(); });
    const auto begin = Clock::now();
    const auto left = [&] {
        const auto gone = std::chrono::duration<double>(Clock::now() - begin).count();
        return milliseconds(
            static_cast<int64_t>(std::clamp(1000 * (options.seconds.value_or(1e9) - gone) + 0.999, 0.0, 100.0)));
    };
    ProgressLine progress;
    require(player.play());
    for (milliseconds tick = left(); tick.count() > 0; tick = left()) {
        const Waiter::Event event = waiter.wait(tick);
        if (event == Waiter::Event::Signal)
            break;
        if (event == Waiter::Event::Finished)
            return progress.show(progressOf(player, player.position()));
        progress.show(progressOf(player, player.heard().frame));
    }
    player.stop();
}

} // namespace

void play(const PlayOptions &options)
{
    requireOrder(options.range);
    Waiter waiter;
    kx::Player player = makePlayer(options.file, options.effect);
    chooseDevice(player, options);
    if (options.volume)
        require(player.setVolume(*options.volume));
    std::mutex lock;
    std::optional<kx::Error> failure;
    const kx::Subscription failed = player.onFailed([&](const kx::Error &error) {
        const std::lock_guard guard(lock);
        failure = error;
        waiter.finish();
    });
    placePlayer(player, options);
    playOn(player, options, waiter);
    const std::lock_guard guard(lock);
    if (failure)
        throw Failure(*failure);
}

} // namespace kxtool
