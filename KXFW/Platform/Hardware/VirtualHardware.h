#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace kx
{

enum class VirtualClock {
    RealTime, ///< by the monotonic clock, as a sound card would
    Manual,   ///< only as far as `advance` says
    FlatOut,  ///< as fast as frames are made
};

/// One device of the virtual sound system.
struct VirtualDevice {
    std::string name;
    double sampleRate = 44100;
    uint32_t channels = 2;
    uint32_t bits = 16; ///< 16: native signed integers; 32: native floats
    bool hasInput = false;
    bool hasOutput = true;
};

/// The controls of the virtual sound system, which plays to nowhere: one output device driven by the real-time clock
/// on machines without a sound server, and a device list and a clock in the application's hands for tests, servers and
/// rendering faster than time. All calls take effect at once and tell property listeners. Choosing it is a matter of
/// KXFW_AUDIO_BACKEND=virtual; else it serves until a sound server comes.
class KX_EXPORT VirtualHardware
{
public:
    /// Hears each block that a device takes, in the device's own format, on the thread that wrote it.
    using Capture = std::function<void(const std::string &device, std::span<const std::byte> interleaved)>;

    static VirtualHardware &instance(); ///< [any]

    /// Replaces the list; a device whose name stays keeps its identity, streams to others are lost. The first output
    /// device becomes the default unless the old default is still there. [any]
    void setDevices(const std::vector<VirtualDevice> &devices);
    /// Makes the device of that name the default; an unknown name or "" means none. [any]
    void setDefaultOutput(const std::string &name);
    void setDefaultInput(const std::string &name); ///< [any]
    /// For streams opened from now on. [any]
    void setClock(VirtualClock clock);
    void setCapture(Capture capture); ///< Null ends it; when this returns the old one is not running. [any] [blocks]

    /// Manual clock: lets every open stream take `frames` more frames and waits until each has been given them, or has
    /// ended. Returns the frames that were taken, summed over the streams. A stream that gets nothing for 10 seconds
    /// is left behind. [any] [blocks]
    uint64_t advance(uint32_t frames);

    /// How many streams are open now. [any]
    [[nodiscard]] std::size_t openStreams() const;
    /// Waits until `count` streams are open: false when that does not happen in time. [any] [blocks]
    bool waitForStreams(std::size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(10));

private:
    VirtualHardware() = default;
};

} // namespace kx
