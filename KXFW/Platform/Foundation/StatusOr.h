#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"

#include <utility>
#include <variant>

namespace kx
{

/// A value, or the status that says why there is none (never noErr).
template <class T> class [[nodiscard]] StatusOr
{
public:
    StatusOr(T value) : content_(std::in_place_index<0>, std::move(value)) {} // NOLINT: converts on purpose
    StatusOr(OSStatus failure) : content_(std::in_place_index<1>, failure) {} // NOLINT: converts on purpose

    explicit operator bool() const noexcept { return content_.index() == 0; }
    T &operator*() & { return std::get<0>(content_); }
    const T &operator*() const & { return std::get<0>(content_); }
    T &&operator*() && { return std::get<0>(std::move(content_)); }
    T *operator->() { return &std::get<0>(content_); }
    /// noErr where there is a value.
    [[nodiscard]] OSStatus status() const noexcept { return content_.index() == 0 ? noErr : std::get<1>(content_); }

private:
    std::variant<T, OSStatus> content_;
};

} // namespace kx
