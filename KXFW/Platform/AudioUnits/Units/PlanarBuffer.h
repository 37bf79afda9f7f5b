#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kx
{

/// Float samples, one array a channel, with a list of pointers to them as the conversion calls take it.
class PlanarBuffer
{
public:
    PlanarBuffer() = default;
    PlanarBuffer(uint32_t channels, uint32_t frames) : samples_(static_cast<std::size_t>(channels) * frames) // [any]
    {
        for (uint32_t i = 0; i < channels; ++i)
            planes_.push_back(samples_.data() + static_cast<std::size_t>(i) * frames);
    }
    PlanarBuffer(const PlanarBuffer &) = delete;
    PlanarBuffer &operator=(const PlanarBuffer &) = delete;
    PlanarBuffer(PlanarBuffer &&) = default;
    PlanarBuffer &operator=(PlanarBuffer &&) = default;

    [[nodiscard]] float *const *planes() const noexcept { return planes_.data(); } ///< [any] [render]

private:
    std::vector<float> samples_;
    std::vector<float *> planes_;
};

} // namespace kx
