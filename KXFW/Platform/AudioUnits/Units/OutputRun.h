#pragma once

#include "KXFW/Platform/AudioUnits/AudioUnit.h"
#include "KXFW/Platform/AudioUnits/RenderScope.h"
#include "KXFW/Platform/AudioUnits/Renderer.h"
#include "KXFW/Platform/AudioUnits/Units/FormatConversion.h"
#include "KXFW/Platform/AudioUnits/Units/OutputDevice.h"
#include "KXFW/Platform/Foundation/BufferList.h"
#include "KXFW/Platform/Hardware/Hardware.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace kx
{

class Unit;

/// One run of an output unit, from its start to its end: the render thread and the stream to the device.
///
///   Running --endFromInside, end--> Ending --all heard--> (thread gone)
///      |                               |
///      +-------------cut---------------+----> Cut ------> (thread gone)
///
/// The thread opens the stream, waits for room, pulls slices out of the unit and writes them. A stream that is lost is
/// opened anew after 0.5 s, growing to 5 s; nothing is pulled meanwhile. Shared by the unit and the thread: the thread
/// keeps the unit alive, and whoever lets go last frees the run.
class OutputRun final : private FrameSource
{
public:
    /// Of `unit`, to `device` (none: waits in silence), in slices of up to `sliceFrames`. `underruns` have been counted
    /// before. [any]
    OutputRun(std::shared_ptr<Unit> unit, OutputDevice device, uint32_t sliceFrames, uint64_t underruns);
    ~OutputRun();
    OutputRun(const OutputRun &) = delete;
    OutputRun &operator=(const OutputRun &) = delete;

    /// Makes the thread, and waits until it has tried to open the stream, a second at most. [any] [blocks]
    static void launch(const std::shared_ptr<OutputRun> &run);

    /// Ends the run of `handle` whose render thread this is; false on any other thread. No lock, no wait. [render]
    static bool endFromInside(AudioUnit handle) noexcept;
    /// The same from another thread: what was pulled is still heard. Does not wait. [any]
    void end();
    /// Cuts what was not heard, and returns when the thread is gone. One thread at a time, never the run's own.
    /// [any] [blocks]
    void cut();

    [[nodiscard]] bool isRunning() const noexcept { return state_.load() == State::Running; } ///< [any]
    [[nodiscard]] bool isOver() const noexcept { return state_.load() == State::Cut; } ///< All was heard, or cut. [any]
    [[nodiscard]] uint64_t underruns() const;                                          ///< [any]
    [[nodiscard]] uint32_t latencyFrames() const; ///< Of 44,100 Hz, in the device. [any]
    [[nodiscard]] double heardFrames() const;     ///< Of those pulled: heard so far. [any]

private:
    enum class State { Running, Ending, Cut };
    enum class Progress { Wanting, AllWritten, Lost };

    OSStatus pull(const AudioTimeStamp &time, uint32_t frames, AudioBufferList &list) noexcept override;
    [[nodiscard]] bool ended() const noexcept override { return !isRunning(); }

    void main();
    void playStreams();
    OSStatus open();
    void close();
    Progress play();
    Progress fill(uint32_t room) KX_RENDERS;
    bool write(uint32_t frames); ///< False when the stream is lost.
    void waitToReopen(std::chrono::milliseconds time);
    void tellOpened();
    void reportTrouble() const;
    [[nodiscard]] double heardFramesLocked() const;

    std::shared_ptr<Unit> unit_; ///< used and let go by the thread
    const AudioUnit handle_;
    const OutputDevice device_;
    const uint32_t sliceFrames_;
    std::atomic<State> state_{State::Running};
    std::thread thread_;

    mutable std::mutex lock_;
    std::condition_variable changed_; ///< state_ or opened_
    bool opened_ = false;             ///< the first attempt was made
    std::unique_ptr<OutputStream> stream_;
    uint64_t underruns_;     ///< of streams that are closed
    double heardBefore_ = 0; ///< frames heard when the last stream was closed
    double openedAt_ = 0;    ///< frames pulled when the stream was opened

    // The thread's own.
    std::unique_ptr<FormatConversion> conversion_;
    std::optional<BufferList> slice_;
    double sampleTime_ = 0;
    uint64_t failedSlices_ = 0;
    OSStatus firstFailure_ = noErr;
};

} // namespace kx
