/// @file
/// What a sound system is to the hardware service. A new one is a file in Backends/ and a row in BackendTable.cpp.
#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/Status.h"
#include "KXFW/Platform/Foundation/StatusOr.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kx
{

/// A device as its backend describes it.
struct DeviceInfo {
    std::string uid;  ///< unique among the devices of the backend; the same device has the same uid
    std::string name; ///< for people; valid UTF-8, at most 255 bytes
    bool hasInput = false;
    bool hasOutput = false;
    bool isVirtual = false;
    AudioStreamBasicDescription format{}; ///< the device's own: interleaved linear PCM
};

struct HardwareState {
    std::vector<DeviceInfo> devices;
    std::string defaultInput; ///< a uid, empty where there is none
    std::string defaultOutput;
};

/// A running stream to one device. What makes the sound knows this one way only: it waits for room and writes. A system
/// that is written to implements it as it is (PulseAudio, ALSA); one that calls for frames derives from CallbackStream,
/// which tells why the two meet in a ring.
///
/// Opened, written and closed by one thread (the render thread); `interrupt` and the
/// counters may be used by any. Every wait has a deadline, so a server that hangs costs a second at most.
class OutputStream
{
public:
    /// Cuts what was not heard yet.
    virtual ~OutputStream() = default;

    /// What `write` takes: interleaved linear PCM of the device's rate.
    [[nodiscard]] virtual const AudioStreamBasicDescription &format() const noexcept = 0;

    /// Waits until the device wants frames: how many (at least 1); 0 after `interrupt` or a second without an answer;
    /// a status when the stream is lost for good (the device is gone, the server died). [blocks]
    virtual StatusOr<uint32_t> waitForRoom() = 0;
    virtual OSStatus write(const void *interleaved, uint32_t frames) = 0;
    /// Waits until all that was written has been heard, or `interrupt`, or a deadline. [blocks]
    virtual void drain() = 0;

    /// Lets the device take no more, so that `heardFrames` is final, as exactly as the system tells it. Nothing is
    /// written afterwards. [blocks]
    virtual void halt() {}

    /// Ends every wait but the one in `halt`, now and later. [any]
    virtual void interrupt() noexcept = 0;
    /// How often the device ran dry while the stream was running. [any]
    [[nodiscard]] virtual uint64_t underruns() const noexcept = 0;
    /// Frames between the last one written and the one being heard. [any]
    [[nodiscard]] virtual uint32_t latencyFrames() const noexcept = 0;
    /// Of the frames written, those that have been heard, as far as is known. [any]
    [[nodiscard]] virtual uint64_t heardFrames() const noexcept = 0;
};

/// A sound system: its devices, its defaults, its streams. Used from any thread; the handler below is called on a
/// thread of the backend's own, or on the one that made the change, with no lock held that `state` needs.
class HardwareBackend
{
public:
    virtual ~HardwareBackend() = default;

    /// The devices as last heard of. Never waits for a server.
    [[nodiscard]] virtual HardwareState state() const = 0;
    /// Called after the state has changed; bursts may be told once. Set once, before anything else.
    virtual void setChangeHandler(std::function<void()> handler) = 0;

    /// Opens a stream to the device `uid` that asks for `sliceFrames` frames at a time, as far as the system lets it.
    /// The stream stays on that device: it fails rather than move. [blocks]
    virtual StatusOr<std::unique_ptr<OutputStream>> openOutput(const std::string &uid, uint32_t sliceFrames) = 0;
};

struct BackendEntry {
    using Make = std::unique_ptr<HardwareBackend> (*)();

    const char *name;
    /// The backend; null where it cannot be made. It waits a second at most for its system to answer, and has no
    /// devices until that does. [blocks]
    Make make;
    Make makeUnnamed = make; ///< where nobody has asked for this one
};

std::unique_ptr<HardwareBackend> makePipeWireBackend();
std::unique_ptr<HardwareBackend> makePulseBackend();
std::unique_ptr<HardwareBackend> makeAlsaBackend();      ///< with all that ALSA's configuration names
std::unique_ptr<HardwareBackend> makeAlsaCardsBackend(); ///< without what may lead back to a sound server
std::unique_ptr<HardwareBackend> makeVirtualBackend();   ///< always succeeds, at once

} // namespace kx
