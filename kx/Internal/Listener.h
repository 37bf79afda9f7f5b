#pragma once

#include "kx/Subscription.h"

namespace kx
{

/// One registration somewhere. `end` may come more than once, and from within its own call.
struct __attribute__((visibility("hidden"))) Subscription::Listener {
    Listener() = default;
    virtual ~Listener() = default;
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    /// No call is running or comes when it returns; from within its own call it returns at once. [any] [blocks]
    virtual void end() noexcept = 0;
};

} // namespace kx
