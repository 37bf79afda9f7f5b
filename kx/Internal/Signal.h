#pragma once

#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Foundation/NSLog.h"
#include "kx/Internal/Listener.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace kx
{

/// Calls those who subscribed, on the thread that raises it. Held by a shared pointer, so that a call may outlive its
/// source.
template <class... Arguments> class Signal
{
public:
    using Function = std::function<void(Arguments...)>;

    /// [any]
    [[nodiscard]] Subscription subscribe(Function function)
    {
        auto slot = std::make_shared<Slot>(std::move(function));
        const std::lock_guard guard(lock_);
        std::erase_if(slots_, [](const std::weak_ptr<Slot> &each) { return each.expired(); });
        slots_.push_back(slot);
        return Subscription::Listener::subscription(std::move(slot));
    }

    /// What it throws is logged; an empty one does nothing. [any] [blocks]
    static void callGuarded(const Function &function, Arguments... arguments)
    {
        const ListenerCall call;
        try {
            if (function)
                function(arguments...);
        } catch (...) {
            NSLog("a listener failed: %@", currentExceptionText());
        }
    }

    /// Calls all in the order in which they came. [any] [blocks]
    void raise(Arguments... arguments) const
    {
        for (const std::weak_ptr<Slot> &each : present())
            if (const auto slot = each.lock())
                slot->call(arguments...);
    }

private:
    class Slot final : public Subscription::Listener
    {
    public:
        explicit Slot(Function function) : function_(std::move(function)) {}

        void call(Arguments... arguments)
        {
            const std::lock_guard guard(lock_);
            if (!hasEnded_)
                callGuarded(function_, arguments...);
        }
        void end() noexcept override
        {
            hasEnded_ = true;
            if (!ListenerCall::isOnThisThread())
                const std::lock_guard guard(lock_); // waits for the call that is under way
        }

    private:
        std::recursive_mutex lock_; ///< held in a call
        std::atomic<bool> hasEnded_{false};
        const Function function_;
    };

    std::vector<std::weak_ptr<Slot>> present() const
    {
        const std::lock_guard guard(lock_);
        return slots_;
    }

    mutable std::mutex lock_;
    std::vector<std::weak_ptr<Slot>> slots_;
};

} // namespace kx
