#pragma once

#include "KXFW/Platform/Foundation/Status.h"

#include <atomic>
#include <sys/eventfd.h>
#include <unistd.h>

namespace kx
{

/// Why a stream ends, and a descriptor for who waits for it; shared by the stream and those that end it, so that either
/// may go first. [any]
class StreamEnd
{
public:
    StreamEnd() noexcept : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    ~StreamEnd() { close(descriptor_); }
    StreamEnd(const StreamEnd &) = delete;
    StreamEnd &operator=(const StreamEnd &) = delete;

    void interrupt() noexcept
    {
        isInterrupted_ = true;
        eventfd_write(descriptor_, 1);
    }
    void lose(OSStatus reason) noexcept
    {
        loss_ = reason;
        eventfd_write(descriptor_, 1);
    }
    [[nodiscard]] bool isInterrupted() const noexcept { return isInterrupted_; }
    [[nodiscard]] OSStatus loss() const noexcept { return loss_; } ///< noErr while there is none
    [[nodiscard]] bool hasCome() const noexcept { return isInterrupted_ || loss_ != noErr; }
    [[nodiscard]] int descriptor() const noexcept { return descriptor_; } ///< readable once it has come

private:
    const int descriptor_;
    std::atomic<bool> isInterrupted_ = false;
    std::atomic<OSStatus> loss_ = noErr;
};

} // namespace kx
