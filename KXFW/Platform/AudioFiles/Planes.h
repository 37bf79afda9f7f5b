#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kx
{

/// One array of floats a channel, made once.
class Planes
{
public:
    Planes() = default;
    Planes(uint32_t channels, uint32_t frames) : samples_(std::size_t{channels} * frames), pointers_(channels)
    {
        for (uint32_t c = 0; c < channels; ++c)
            pointers_[c] = samples_.data() + std::size_t{c} * frames;
    }

    [[nodiscard]] float *const *get() const noexcept { return pointers_.data(); }

private:
    std::vector<float> samples_;
    std::vector<float *> pointers_;
};

/// Pointers to planes that start some frames later, without allocation.
class PlanesFrom
{
public:
    PlanesFrom(const float *const *planes, uint32_t channels, uint32_t first) noexcept
    {
        for (uint32_t c = 0; c < channels; ++c)
            pointers_[c] = planes[c] + first;
    }

    [[nodiscard]] const float *const *get() const noexcept { return pointers_; }

private:
    const float *pointers_[64];
};

} // namespace kx
