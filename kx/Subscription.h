#pragma once

#include "kx/Visibility.h"

#include <memory>

namespace kx
{

/// A listener's stay: it is called while its subscription lives, and no longer. Move-only; keep it where the listener's
/// data is, behind that data.
///
/// Once the subscription has ended no call of the listener comes, and none is running unless it was ended from within a
/// call: of this listener, which is then the last one, or of another, which does not wait. So do not end one while
/// holding a lock that its listener takes.
class KX_EXPORT Subscription
{
public:
    struct Listener; ///< what a source of calls keeps of a listener

    Subscription() noexcept;                                ///< Of nothing. [any]
    Subscription(Subscription &&other) noexcept;            ///< [any]
    Subscription &operator=(Subscription &&other) noexcept; ///< Ends what it was before. [any] [blocks]
    ~Subscription();                                        ///< [any] [blocks]

    void end() noexcept;                                                     ///< [any] [blocks]
    explicit operator bool() const noexcept { return listener_ != nullptr; } ///< [any]

private:
    explicit Subscription(std::shared_ptr<Listener> listener) noexcept;

    std::shared_ptr<Listener> listener_;
};

} // namespace kx
