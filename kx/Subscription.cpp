#include "kx/Subscription.h"

#include "kx/Internal/Listener.h"

#include <utility>

namespace kx
{

thread_local int ListenerCall::depth = 0;

Subscription::Subscription() noexcept = default;
Subscription::Subscription(std::shared_ptr<Listener> listener) noexcept : listener_(std::move(listener)) {}
Subscription::Subscription(Subscription &&other) noexcept = default;

Subscription &Subscription::operator=(Subscription &&other) noexcept
{
    if (this != &other) {
        end();
        listener_ = std::move(other.listener_);
    }
    return *this;
}

Subscription::~Subscription()
{
    end();
}

void Subscription::end() noexcept
{
    if (const auto listener = std::exchange(listener_, nullptr))
        listener->end();
}

} // namespace kx
