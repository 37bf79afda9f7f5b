#pragma once

#include "KXFW/Platform/Foundation/PriorityMutex.h"

#include <mutex>
#include <utility>

namespace kx
{

/// A value that several threads read and replace as a whole: nobody ever sees half of an old and half of a new one.
template <class Value> class Guarded
{
public:
    Guarded() = default;
    explicit Guarded(Value value) : value_(std::move(value)) {}

    /// A copy. [any] [render]
    [[nodiscard]] Value get() const
    {
        const std::lock_guard guard(lock_);
        return value_;
    }

    /// Replaces the value; the old one ends after the lock is released. [any]
    void set(Value value) { exchange(std::move(value)); }

    /// Replaces the value and gives the old one. [any]
    Value exchange(Value value)
    {
        const std::lock_guard guard(lock_);
        std::swap(value_, value);
        return value;
    }

private:
    mutable PriorityMutex lock_;
    Value value_{};
};

} // namespace kx
