#include "KXFW/Platform/Hardware/Backends/ChangeTeller.h"

#include <utility>

void kx::ChangeTeller::setHandler(std::function<void()> handler)
{
    const std::lock_guard guard(lock_);
    handler_ = std::move(handler);
}

void kx::ChangeTeller::tell()
{
    const std::lock_guard guard(lock_);
    if (std::exchange(isScheduled_, true))
        return;
    queue_.async([this] {
        std::function<void()> handler;
        {
            const std::lock_guard inside(lock_);
            isScheduled_ = false;
            handler = handler_;
        }
        if (handler)
            handler();
    });
}
