#pragma once

#include "KXFW/Platform/AudioUnits/RenderStage.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <utility>

namespace kx
{

/// A stage in its unit, and what is believed of the numbers that it tells.
class HostedStage
{
public:
    void host(std::shared_ptr<RenderStage> stage) noexcept { stage_ = std::move(stage); } ///< Once, first. [any]

    [[nodiscard]] RenderStage &stage() const noexcept { return *stage_; } ///< [any] [render]

    /// Before the first block is processed, and after a reset: then nothing is held. [any] [render]
    void begin() noexcept { isRunning_ = true; }
    void reset() noexcept
    {
        stage_->reset();
        isRunning_ = false;
    }

    [[nodiscard]] uint32_t latency() const noexcept { return std::min(stage_->latency(), kMostHeld); } ///< [any]
    [[nodiscard]] double drawRate() const noexcept                                                     ///< [any]
    {
        const double rate = stage_->drawRate();
        return std::isnan(rate) ? 1 : std::clamp(rate, 1 / kMostDrawn, kMostDrawn);
    }
    /// Source frames that are not played when `behind` frames of the output are not. [any] [render]
    [[nodiscard]] uint32_t heldFrames(uint32_t behind) const noexcept
    {
        const uint32_t late = isRunning_ ? latency() : 0;
        const uint32_t held = isRunning_ ? std::min(stage_->heldFrames(), kMostHeld) : 0;
        const double drawn = std::ceil((static_cast<double>(behind) + late) * drawRate()) + held;
        return static_cast<uint32_t>(std::min(drawn, double{kMostInAll}));
    }

private:
    static constexpr uint32_t kMostHeld = 10 * 44100;
    static constexpr uint32_t kMostInAll = 1U << 30;
    static constexpr double kMostDrawn = 64;

    std::shared_ptr<RenderStage> stage_;
    std::atomic<bool> isRunning_{false};
};

} // namespace kx
