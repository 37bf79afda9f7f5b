#pragma once

#include "KXFW/Platform/Foundation/Status.h"
#include "KXFW/Platform/Hardware/Backends/PipeWireLibrary.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kx
{

class PipeWireStream;

/// The thread on which the library runs and calls back, and the library's context, whose own thread runs the process
/// callbacks. Backend and streams share it.
class PipeWireLoop
{
public:
    /// Null when there is no library, or nothing that it runs on.
    static std::shared_ptr<PipeWireLoop> start();
    /// Not on the loop's own thread. [blocks]
    ~PipeWireLoop();
    PipeWireLoop(const PipeWireLoop &) = delete;
    PipeWireLoop &operator=(const PipeWireLoop &) = delete;

    /// Held for every call into the library; callbacks hold it already, but the process callback, which must not take
    /// it. Never while waiting.
    class Lock
    {
    public:
        explicit Lock(PipeWireLoop &loop) noexcept : loop_(loop.thread_) { pipeWire().thread_loop_lock(loop_); }
        ~Lock() { pipeWire().thread_loop_unlock(loop_); }
        Lock(const Lock &) = delete;
        Lock &operator=(const Lock &) = delete;

    private:
        pw_thread_loop *loop_;
    };

    // With the lock held:
    [[nodiscard]] pw_loop *loop() const noexcept { return pipeWire().thread_loop_get_loop(thread_); }
    [[nodiscard]] pw_context *context() const noexcept { return context_; }
    void add(PipeWireStream *stream) { streams_.push_back(stream); }
    void remove(PipeWireStream *stream) noexcept { std::erase(streams_, stream); }
    /// The streams to devices that are not there any more are lost.
    void loseStreams(OSStatus reason, const std::function<bool(const std::string &device)> &isThere);

private:
    PipeWireLoop() = default;

    pw_thread_loop *thread_ = nullptr;
    pw_context *context_ = nullptr;
    std::vector<PipeWireStream *> streams_; ///< those that are open
};

} // namespace kx
