#pragma once

#include "KXFW/Platform/Foundation/PriorityMutex.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

namespace kx
{

/// A shared object that may be replaced. `now` takes neither a lock nor a reference: whoever replaces the object keeps
/// the old one for as long as somebody may use it so.
template <class Object> class SharedSlot
{
public:
    explicit SharedSlot(std::shared_ptr<Object> object = nullptr) { exchange(std::move(object)); }

    [[nodiscard]] std::shared_ptr<Object> get() const ///< [any]
    {
        const std::lock_guard guard(lock_);
        return object_;
    }
    [[nodiscard]] Object *now() const noexcept { return now_; }      ///< [any] [render]
    std::shared_ptr<Object> exchange(std::shared_ptr<Object> object) ///< Gives the old one. [any]
    {
        const std::lock_guard guard(lock_);
        now_ = object.get();
        std::swap(object_, object);
        return object;
    }

private:
    mutable PriorityMutex lock_;
    std::shared_ptr<Object> object_;
    std::atomic<Object *> now_{nullptr};
};

} // namespace kx
