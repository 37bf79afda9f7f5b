#pragma once

#include "KXFW/Platform/AudioUnits/LV2Module/LV2Ports.h"
#include "KXFW/Platform/AudioUnits/LV2Module/LilvObjects.h"

#include <array>
#include <atomic>
#include <vector>

namespace kx
{

/// One instance of a plugin with memory behind all of its ports. One thread at a time.
class PluginInstance
{
public:
    PluginInstance(LilvInstancePtr instance, const LV2Ports &ports);
    ~PluginInstance();
    PluginInstance(PluginInstance &&) = default;
    PluginInstance &operator=(PluginInstance &&) = delete;

    void activate();                                                          ///< Anew, where it is active.
    void run(uint32_t frames) noexcept;                                       ///< [render]
    [[nodiscard]] float *in(std::size_t i) noexcept { return in_[i].data(); } ///< Samples of an input. [render]
    [[nodiscard]] float *out(std::size_t i) noexcept { return out_[i].data(); }
    [[nodiscard]] float &control(std::size_t i) noexcept { return controls_[i]; }
    [[nodiscard]] uint32_t latency() const noexcept; ///< As it told after the last run.

private:
    using Samples = std::vector<float>;

    LilvInstancePtr instance_;
    std::vector<Samples> in_;
    std::vector<Samples> out_;
    Samples controls_;
    Samples told_;
    std::size_t latencyAt_; ///< in `told_`
    bool isActive_ = false;
};

/// A plugin as a stage: one instance of two channels, or two of one.
class PluginStage final : public LV2Stage
{
public:
    PluginStage(std::vector<PluginInstance> instances, std::vector<LV2Control> controls);

    [[nodiscard]] const std::vector<LV2Control> &controls() const noexcept override { return controls_; }
    void set(std::size_t control, float value) noexcept override { values_[control] = value; }
    [[nodiscard]] float get(std::size_t control) const noexcept override { return values_[control]; }
    void prepare() override;

    void process(StageSource &source, const PlanarBlock &out) noexcept override;
    void reset() noexcept override;
    [[nodiscard]] uint32_t latency() const noexcept override { return latency_; }
    [[nodiscard]] uint32_t heldFrames() const noexcept override { return 0; }
    [[nodiscard]] double drawRate() const noexcept override { return 1; }

private:
    void run(uint32_t frames) noexcept;
    /// The instance that has a channel, and its number there.
    [[nodiscard]] PluginInstance &instanceOf(uint32_t channel) noexcept;
    [[nodiscard]] std::size_t numberOf(uint32_t channel) const noexcept;

    std::vector<PluginInstance> instances_;
    std::vector<LV2Control> controls_;
    std::vector<std::atomic<float>> values_; ///< of the controls
    std::atomic<uint32_t> latency_{0};
};

} // namespace kx
