#include "KXFW/Platform/AudioUnits/LV2Module/PluginStage.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace kx
{

PluginInstance::PluginInstance(LilvInstancePtr instance, const LV2Ports &ports)
    : instance_(std::move(instance)), in_(ports.audioIn.size(), Samples(RenderStage::kMostFrames)),
      out_(ports.audioOut.size(), Samples(RenderStage::kMostFrames)), told_(ports.controlOut.size() + 1)
{
    for (const LV2Control &control : ports.controls)
        controls_.push_back(control.initial);
    const auto connect = [&](uint32_t port, void *memory) {
        lilv_instance_connect_port(instance_.get(), port, memory);
    };
    for (std::size_t i = 0; i < ports.audioIn.size(); ++i) {
        connect(ports.audioIn[i], in_[i].data());
        connect(ports.audioOut[i], out_[i].data());
    }
    for (std::size_t i = 0; i < controls_.size(); ++i)
        connect(ports.controlIn[i], &controls_[i]);
    for (std::size_t i = 0; i < ports.controlOut.size(); ++i)
        connect(ports.controlOut[i], &told_[i]);
    for (const uint32_t port : ports.unconnected)
        connect(port, nullptr);
    const auto latency = ports.latency ? std::ranges::find(ports.controlOut, *ports.latency) : ports.controlOut.end();
    latencyAt_ = static_cast<std::size_t>(latency - ports.controlOut.begin()); // behind them all where there is none
}

PluginInstance::~PluginInstance()
{
    if (instance_ && isActive_)
        lilv_instance_deactivate(instance_.get());
}

void PluginInstance::activate()
{
    if (std::exchange(isActive_, true))
        lilv_instance_deactivate(instance_.get());
    lilv_instance_activate(instance_.get());
}

void PluginInstance::run(uint32_t frames) noexcept
{
    lilv_instance_run(instance_.get(), frames);
}

uint32_t PluginInstance::latency() const noexcept
{
    const float frames = told_[latencyAt_];
    return frames > 0 ? static_cast<uint32_t>(std::lround(std::min(frames, 1e9F))) : 0;
}

PluginStage::PluginStage(std::vector<PluginInstance> instances, std::vector<LV2Control> controls)
    : instances_(std::move(instances)), controls_(std::move(controls)), values_(controls_.size())
{
    for (std::size_t i = 0; i < controls_.size(); ++i)
        values_[i] = controls_[i].initial;
}

/// A plugin tells its latency when it is run; what it heard of that is forgotten.
void PluginStage::prepare()
{
    reset();
    for (uint32_t channel = 0; channel < kChannels; ++channel)
        std::fill_n(instanceOf(channel).in(numberOf(channel)), kMostFrames, 0.0F);
    run(kMostFrames);
    reset();
}

void PluginStage::reset() noexcept
{
    for (PluginInstance &instance : instances_)
        instance.activate();
}

void PluginStage::process(StageSource &source, const PlanarBlock &out) noexcept
{
    std::array<float *, kChannels> in{};
    for (uint32_t channel = 0; channel < kChannels; ++channel)
        in[channel] = instanceOf(channel).in(numberOf(channel));
    source.pull({in.data(), kChannels, out.frames});
    run(out.frames);
    for (uint32_t channel = 0; channel < kChannels; ++channel)
        std::memcpy(out.planes[channel], instanceOf(channel).out(numberOf(channel)), out.frames * sizeof(float));
}

void PluginStage::run(uint32_t frames) noexcept
{
    for (PluginInstance &instance : instances_) {
        for (std::size_t i = 0; i < values_.size(); ++i)
            instance.control(i) = values_[i];
        instance.run(frames);
    }
    latency_ = instances_.front().latency();
}

PluginInstance &PluginStage::instanceOf(uint32_t channel) noexcept
{
    return instances_[instances_.size() > 1 ? channel : 0];
}

std::size_t PluginStage::numberOf(uint32_t channel) const noexcept
{
    return instances_.size() > 1 ? 0 : channel;
}

} // namespace kx
