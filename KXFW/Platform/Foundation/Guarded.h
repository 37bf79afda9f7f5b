#pragma once

#include "KXFW/Platform/Foundation/PriorityMutex.h"

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <type_traits>
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

/// Plain values are read without the lock, unless a thread that replaces one is kept off the processor meanwhile: a
/// sequence lock, with the orders of H.-J. Boehm, "Can Seqlocks Get Along With Programming Language Memory Models?",
/// MSPC 2012.
template <class Value>
requires(std::is_trivially_copyable_v<Value> && sizeof(Value) % sizeof(uint64_t) == 0 &&
         std::atomic<uint64_t>::is_always_lock_free) class Guarded<Value>
{
public:
    Guarded() : Guarded(Value{}) {}
    explicit Guarded(const Value &value) { store(value); }

    /// A copy. [any] [render]
    [[nodiscard]] Value get() const
    {
        for (int tries = 0; tries < kTries; ++tries) {
            const uint32_t before = version_.load(std::memory_order_acquire);
            const Value value = load();
            if (before % 2 == 0 && version_.load(std::memory_order_relaxed) == before)
                return value;
        }
        const std::lock_guard guard(lock_);
        return load();
    }

    /// Replaces the value. [any]
    void set(const Value &value) { exchange(value); }

    /// Replaces the value and gives the old one. [any]
    Value exchange(const Value &value)
    {
        const std::lock_guard guard(lock_);
        const Value old = load();
        const uint32_t version = version_.load(std::memory_order_relaxed);
        version_.store(version + 1, std::memory_order_relaxed); // odd: who reads now tries again
        store(value);
        version_.store(version + 2, std::memory_order_release);
        return old;
    }

private:
    using Words = std::array<uint64_t, sizeof(Value) / sizeof(uint64_t)>;
    static constexpr int kTries = 4;

    [[nodiscard]] Value load() const noexcept
    {
        Words words;
        for (std::size_t i = 0; i < words.size(); ++i)
            words[i] = words_[i].load(std::memory_order_acquire);
        return std::bit_cast<Value>(words);
    }
    void store(const Value &value) noexcept
    {
        const auto words = std::bit_cast<Words>(value);
        for (std::size_t i = 0; i < words.size(); ++i)
            words_[i].store(words[i], std::memory_order_release);
    }

    mutable PriorityMutex lock_;
    std::atomic<uint32_t> version_{0};
    std::array<std::atomic<uint64_t>, sizeof(Value) / sizeof(uint64_t)> words_{};
};

} // namespace kx
