/// @file
/// What the desktop's media controls may ask of the player, and what they show of it.
#pragma once

#include <cstdint>
#include <filesystem>

namespace kxplayer
{

enum class Playback { Stopped, Paused, Playing };

/// What is open and how it plays, but for the position.
struct PlayerState {
    Playback playback = Playback::Stopped;
    bool loops = false;
    double rate = 1;
    double gain = 1;            ///< linear, 0 to 1
    std::filesystem::path file; ///< empty: none is open
    uint64_t fileNumber = 0;    ///< another one each time a file is opened, the same file again included
    int64_t numFrames = 0;      ///< of 44,100 a second

    bool operator==(const PlayerState &) const = default;
};

/// The player as the media controls drive it. Values are sane when they get here. Called on the main thread; what they
/// throw is logged.
class PlayerCommands
{
public:
    virtual ~PlayerCommands() = default;

    virtual void play() = 0;
    virtual void pause() = 0; ///< the position stays
    virtual void stop() = 0;  ///< the position goes to the start
    /// `frame` is of 0 to the file's length.
    virtual void setPositionInFrame(int64_t frame) = 0;
    /// `rate` is of kLeastRate to kGreatestRate.
    virtual void setRate(double rate) = 0;
    virtual void setLoop(bool loop) = 0;
    /// `gain` is linear, of 0 to 1.
    virtual void setGain(double gain) = 0;
    /// May show a message and wait for the user.
    virtual void openFile(const std::filesystem::path &file) = 0;
    /// Brings the window to the front.
    virtual void raise() = 0;
    virtual void quit() = 0;
    /// The frame that is heard.
    [[nodiscard]] virtual int64_t positionInFrame() const = 0;
};

inline constexpr double kLeastRate = 0.25;
inline constexpr double kGreatestRate = 4;

} // namespace kxplayer
