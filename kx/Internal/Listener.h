#pragma once

#include "kx/Subscription.h"

#include <memory>
#include <utility>

namespace kx
{

/// One registration somewhere.
struct __attribute__((visibility("hidden"))) Subscription::Listener {
    Listener() = default;
    virtual ~Listener() = default;
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    /// No call comes when it returns, and none is running unless this is one, or one of another listener: two that end
    /// each other would wait for ever. More than once does no harm. [any] [blocks]
    virtual void end() noexcept = 0;

    [[nodiscard]] static Subscription subscription(std::shared_ptr<Listener> listener) noexcept
    {
        return Subscription(std::move(listener));
    }
};

/// That this thread is in the call of a listener, while it lives.
class ListenerCall
{
public:
    ListenerCall() noexcept { ++depth; }
    ~ListenerCall() { --depth; }
    ListenerCall(const ListenerCall &) = delete;
    ListenerCall &operator=(const ListenerCall &) = delete;

    [[nodiscard]] static bool isOnThisThread() noexcept { return depth > 0; }

private:
    static thread_local int depth;
};

} // namespace kx
