#pragma once

#include "KXFW/Platform/Hardware/Backends/PulseLibrary.h"

#include <memory>

namespace kx
{

/// The thread on which the library runs and calls back. Backend and streams share it.
class PulseLoop
{
public:
    /// Null when there is no library, or no thread to be had.
    static std::shared_ptr<PulseLoop> start();
    /// Not on the loop's own thread. [blocks]
    ~PulseLoop();
    PulseLoop(const PulseLoop &) = delete;
    PulseLoop &operator=(const PulseLoop &) = delete;

    [[nodiscard]] pa_mainloop_api *api() const noexcept { return pulse().threaded_mainloop_get_api(loop_.get()); }

    /// Held for every call into the library; callbacks hold it already. Never while waiting.
    class Lock
    {
    public:
        explicit Lock(PulseLoop &loop) noexcept : loop_(loop.loop_.get()) { pulse().threaded_mainloop_lock(loop_); }
        ~Lock() { pulse().threaded_mainloop_unlock(loop_); }
        Lock(const Lock &) = delete;
        Lock &operator=(const Lock &) = delete;

    private:
        pa_threaded_mainloop *loop_;
    };

private:
    using Handle = std::unique_ptr<pa_threaded_mainloop, FreeWith<&PulseLibrary::threaded_mainloop_free>>;

    explicit PulseLoop(Handle loop) : loop_(std::move(loop)) {}

    Handle loop_;
};

} // namespace kx
