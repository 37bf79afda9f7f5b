#pragma once

#include <cmath>
#include <cstdint>

namespace kx
{

/// Frame numbers before and after a rate conversion. Exact: whole rates, products in 128 bits. [any]
class FrameMath
{
public:
    FrameMath(double inRate, double outRate) noexcept : in_(std::llround(inRate)), out_(std::llround(outRate)) {}

    [[nodiscard]] bool isIdentity() const noexcept { return in_ == out_; }
    [[nodiscard]] int64_t outFloor(int64_t inFrame) const noexcept { return scale(inFrame, out_, in_, 0); }
    [[nodiscard]] int64_t outCeil(int64_t inFrame) const noexcept { return scale(inFrame, out_, in_, in_ - 1); }
    [[nodiscard]] int64_t inFloor(int64_t outFrame) const noexcept { return scale(outFrame, in_, out_, 0); }

private:
    __extension__ using Wide = __int128;

    static int64_t scale(int64_t frame, int64_t times, int64_t by, int64_t extra) noexcept
    {
        return static_cast<int64_t>((static_cast<Wide>(frame) * times + extra) / by);
    }

    int64_t in_;
    int64_t out_;
};

} // namespace kx
