/// @file
/// Tests of applications without sound: a sound system whose devices and clock are in the test's hands.
#pragma once

#include "kx/Frames.h"
#include "kx/Visibility.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kx
{

/// The sound system of this process, while it lives: make it before anything of the library asks for devices, at the
/// start of a test. One at a time. What devices change is told to listeners as for real ones.
///
///     kx::VirtualSound sound(kx::VirtualSound::Clock::Manual, {{"Speaker"}});
///     kx::Player player;
///     player.open("song.wav").value();
///     player.play().value();
///     sound.advance(kx::Frames(512));          // the Speaker has taken the first 512 frames
class KX_EXPORT VirtualSound
{
public:
    /// What makes time go on for the devices.
    enum class Clock : std::uint8_t {
        RealTime, ///< the monotonic clock, as for a sound card
        Manual,   ///< `advance` alone
        FlatOut,  ///< frames are taken as fast as they are made
    };

    /// A device that plays to nowhere.
    struct Device {
        std::string name;
        double sampleRate = 44100; ///< hertz
        std::uint32_t channels = 2;
        std::uint32_t bits = 16; ///< a sample: 16 for native integers, 32 for native floats
        bool hasInput = false;
        bool hasOutput = true;
    };

    /// Hears each block that a device takes, in the device's own format, on the thread that gives it.
    using Taken = std::function<void(const std::string &device, std::span<const std::byte> interleaved)>;

    /// The first device that plays is the default one. Throws an Exception where another sound system is in use
    /// already. [any] [blocks]
    VirtualSound(Clock clock, const std::vector<Device> &devices);
    explicit VirtualSound(Clock clock); ///< With one device, "Speaker". [any] [blocks]
    ~VirtualSound();                    ///< One device in real time is left. [any] [blocks]
    VirtualSound(const VirtualSound &) = delete;
    VirtualSound &operator=(const VirtualSound &) = delete;

    /// Devices of the same name stay the same; what plays on others loses its device. [any] [blocks]
    void setDevices(const std::vector<Device> &devices);
    void setDefaultOutput(std::string_view name); ///< Empty: none. [any] [blocks]
    void setClock(Clock clock);                   ///< For what begins to play from now on. [any]
    void onTaken(Taken taken); ///< When it returns the one before is not running. Empty: none. [any] [blocks]

    /// Manual clock: lets each device that plays take `frames` more, and waits until they have been given, for ten
    /// seconds at most; the sum of what was taken. [any] [blocks]
    Frames advance(Frames frames);
    /// Waits until `count` players play to a device: false where that does not happen in time. [any] [blocks]
    bool waitForStreams(std::size_t count, std::chrono::milliseconds time = std::chrono::seconds(10));
};

} // namespace kx
