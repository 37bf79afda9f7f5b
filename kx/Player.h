#pragma once

#include "kx/Device.h"
#include "kx/Effect.h"
#include "kx/Error.h"
#include "kx/Exporter.h"
#include "kx/File.h"
#include "kx/Frames.h"
#include "kx/Subscription.h"
#include "kx/Visibility.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <stop_token>
#include <vector>

class KXAFilePlayer;

namespace kx
{

/// Where a player goes at the end of its range.
enum class PlayMode : std::uint8_t {
    Loop,      ///< back to the range's start, without a gap
    RangeOnce, ///< nowhere: it ends
    ToFileEnd, ///< on: the file's end is the end
};

/// A frame of the file and the time at which it is heard.
struct HeardFrame {
    Frames frame{0};
    std::chrono::steady_clock::time_point when;
};

/// Plays one file through effects to a device, around a range if wanted, and exports the range as it sounds.
///
///     kx::Player player;
///     player.open("song.mp3").value();
///     player.setRange({kx::toFrames(500ms), kx::toFrames(1500ms)}).value();
///     player.play().value();
///
/// Every operation may come from any thread. An operation that is refused returns why, and nothing is changed; while an
/// export runs, all that would change what it exports is refused (Busy). The end of the player ends playback, gives up
/// an export (what was at its destination stays), and frees the effects. Move-only; one that was moved from can only be
/// assigned to or go.
///
/// Listeners are called on threads of the library, in `load` and `stop` on the caller's, and may use the player and be
/// the end of it; a listener that keeps the player in a shared pointer keeps it from ending while the subscription
/// lives.
class KX_EXPORT Player
{
public:
    enum class State : std::uint8_t { Empty, Stopped, Playing, Exporting };

    /// A player on the default output device: no file, PlayMode::Loop, full volume. Throws an Exception where there is
    /// no memory or thread for one; without a device, `play` fails. [any] [blocks]
    Player();
    Player(Player &&other) noexcept;            ///< [any]
    Player &operator=(Player &&other) noexcept; ///< [any] [blocks]
    ~Player();                                  ///< [any] [blocks]

    // The file

    /// Opens a file on this thread and loads it: the range is the whole of it, the position its start; what was playing
    /// goes on with it. What was loaded stays where that fails. `stop` may be requested on any thread. [any] [blocks]
    Result<> open(const std::filesystem::path &path, const std::stop_token &stop = {});
    /// The same with a file that was opened before, as on another thread; it is played from its start. [any] [blocks]
    Result<> load(File file);
    [[nodiscard]] std::filesystem::path path() const; ///< Of the loaded file, else empty. [any]
    [[nodiscard]] Frames length() const;              ///< Of the loaded file, else 0. [any]

    // Transport

    [[nodiscard]] State state() const noexcept; ///< [any]
    /// Plays on from the position. Nothing to do while it plays. [any] [blocks]
    Result<> play();
    void stop() noexcept; ///< The sound is cut when it returns. [any] [blocks]

    [[nodiscard]] Frames position() const; ///< The frame that is read next. [any]
    /// The frame that is being heard: what effects and the device still hold is taken off. [any]
    [[nodiscard]] HeardFrame heard() const;
    /// Jumps, 0 to length(); in a loop, to the range's start from outside it. [any] [blocks]
    Result<> seek(Frames position);
    [[nodiscard]] Range range() const; ///< [any]
    /// What is looped, played once or exported, from the next slice on. It may be empty, then nothing is played; it
    /// does not reach beyond the file. [any] [queue: byteOffsetChangeQueue] [blocks]
    Result<> setRange(const Range &range);
    [[nodiscard]] PlayMode playMode() const noexcept; ///< [any]
    Result<> setPlayMode(PlayMode mode);              ///< [any] [blocks]

    /// Calls `listener` once each time playback has ended by itself and the device has played it out; not after `stop`.
    /// [any]
    [[nodiscard]] Subscription onEnded(std::function<void()> listener);
    /// Calls `listener` once for each failure of the file while it plays. What could be read is heard. [any]
    [[nodiscard]] Subscription onFailed(std::function<void(const Error &)> listener);

    // Sound

    [[nodiscard]] float volume() const; ///< Linear gain, 0 to 1. [any]
    Result<> setVolume(float gain);     ///< Limited to 0 to 1; not a number is refused. [any] [blocks]

    /// Plays through these from now on, the first one first; none for the file as it is. Refused are effects that
    /// another player has, null, and one whose `prepare` throws: then those of before stay. `prepare` must not set
    /// effects. [any] [blocks]
    Result<> setEffects(std::vector<std::shared_ptr<Effect>> effects);
    [[nodiscard]] std::vector<std::shared_ptr<Effect>> effects() const; ///< [any]

    // The output device

    [[nodiscard]] DeviceID outputDevice() const noexcept; ///< In use; 0 where there is none. [any]
    /// Plays to `device` from now on, from the frame that was heard; 0 means the default one, whichever it is. A device
    /// that goes is left for the default one. [any] [blocks]
    Result<> setOutputDevice(DeviceID device);
    /// How often sound was missing: a device ran dry, or a file was not read in time. [any]
    [[nodiscard]] std::uint64_t underruns() const;

    // Export

    /// Stops playback and begins to write the range, from its start and as it sounds through the effects, to an AIFF
    /// file at `destination`, which takes its name when it is whole. [any] [blocks]
    Result<Exporter> exportRange(const std::filesystem::path &destination, const ExportOptions &options = {});

    /// The same player in the layer below, for what this one does not offer. Its blocks and modes are this player's.
    /// [any]
    [[nodiscard]] const std::shared_ptr<KXAFilePlayer> &native() const noexcept;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_; ///< null once moved from
};

} // namespace kx
