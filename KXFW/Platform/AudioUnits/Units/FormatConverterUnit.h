#pragma once

#include "KXFW/Platform/AudioUnits/Unit.h"

namespace kx
{

/// Changes sample format, channels and rate between its two sides. A side that nobody set follows connections.
class FormatConverterUnit final : public Unit
{
public:
    FormatConverterUnit(); ///< [any]

    /// For the unit's renderer: the input frames drawn, less those that the output given so far comes from, in parts of
    /// a frame, as many as the output's rate. [any] [render]
    void tellKept(int64_t parts) noexcept { kept_ = parts; }

protected:
    StatusOr<std::unique_ptr<Renderer>> makeRenderer(const UnitFormats &formats) override;
    [[nodiscard]] uint32_t ownHeldFrames(uint32_t behind) const override;
    [[nodiscard]] double ownDrawRate() const override;

private:
    std::atomic<int64_t> kept_{0};
};

} // namespace kx
