#include "kx/LV2.h"

#include "KXFW/Platform/AudioUnits/LV2Plugins.h"
#include "kx/Internal/Errors.h"

#include <algorithm>
#include <utility>

namespace kx
{

namespace
{

/// The source of an effect, as a stage pulls it.
class LV2Input final : public StageSource
{
public:
    explicit LV2Input(Effect::Source &source) noexcept : source_(source) {}

    void pull(const PlanarBlock &block) noexcept override
    {
        source_.pull({block.planes, block.channels, block.frames});
    }
    [[nodiscard]] uint32_t jumps() const noexcept override { return source_.jumps(); }

private:
    Effect::Source &source_;
};

Error withoutLV2(const std::string &reason)
{
    return {ErrorCode::Unsupported, "there are no LV2 plugins: " + reason, {}};
}

Error cannotMake(const std::string &uri, LV2Obstacle obstacle, const std::string &reason)
{
    switch (obstacle) {
    case LV2Obstacle::Unknown:
        return {ErrorCode::NotFound, "no LV2 plugin is called " + uri, {}};
    case LV2Obstacle::Unsuitable:
        return {ErrorCode::Unsupported, "the LV2 plugin " + uri + " cannot be used: " + reason, {}};
    default:
        return {ErrorCode::Other, "the LV2 plugin " + uri + " cannot be started", {}};
    }
}

} // namespace

struct LV2Effect::Impl {
    std::unique_ptr<LV2Stage> stage;
    std::vector<Control> controls;

    Result<std::size_t> numberOf(std::string_view symbol) const
    {
        const auto found = std::ranges::find(controls, symbol, &Control::symbol);
        if (found == controls.end())
            return Error{ErrorCode::InvalidArgument, "the LV2 plugin has no control " + std::string(symbol), {}};
        return static_cast<std::size_t>(found - controls.begin());
    }
};

Result<std::vector<LV2Plugin>> lv2Plugins()
{
    return caught({}, []() -> Result<std::vector<LV2Plugin>> {
        std::string reason;
        LV2Plugins *const installed = installedLV2Plugins(reason);
        if (!installed)
            return withoutLV2(reason);
        std::vector<LV2Plugin> plugins;
        for (LV2Plugins::Plugin &plugin : installed->list())
            plugins.push_back({std::move(plugin.uri), std::move(plugin.name)});
        return plugins;
    });
}

LV2Effect::LV2Effect(std::unique_ptr<Impl> impl) noexcept : impl_(std::move(impl)) {}
LV2Effect::~LV2Effect() = default;

Result<std::shared_ptr<LV2Effect>> LV2Effect::make(const std::string &uri)
{
    return caught({}, [&]() -> Result<std::shared_ptr<LV2Effect>> {
        std::string reason;
        LV2Plugins *const installed = installedLV2Plugins(reason);
        if (!installed)
            return withoutLV2(reason);
        LV2Obstacle obstacle{};
        auto impl = std::make_unique<Impl>();
        impl->stage = installed->make(uri, obstacle, reason);
        if (!impl->stage)
            return cannotMake(uri, obstacle, reason);
        for (const LV2Control &control : impl->stage->controls())
            impl->controls.push_back({control.symbol, control.name, control.minimum, control.maximum, control.initial});
        return std::shared_ptr<LV2Effect>(new LV2Effect(std::move(impl)));
    });
}

const std::vector<LV2Effect::Control> &LV2Effect::controls() const noexcept
{
    return impl_->controls;
}

Result<> LV2Effect::setControl(std::string_view symbol, double value)
{
    const auto number = impl_->numberOf(symbol);
    if (!number)
        return number.error();
    const Control &control = impl_->controls[*number];
    if (!(value >= control.minimum && value <= control.maximum))
        return Error{ErrorCode::InvalidArgument,
                     "the control " + control.symbol + " has to be from " + std::to_string(control.minimum) + " to " +
                         std::to_string(control.maximum),
                     {}};
    impl_->stage->set(*number, static_cast<float>(value));
    return {};
}

Result<double> LV2Effect::control(std::string_view symbol) const
{
    const auto number = impl_->numberOf(symbol);
    if (!number)
        return number.error();
    return double{impl_->stage->get(*number)};
}

void LV2Effect::prepare(const Format & /*format*/)
{
    impl_->stage->prepare();
}

void LV2Effect::process(Source &source, const Block &out) noexcept
{
    LV2Input input(source);
    impl_->stage->process(input, {out.channels, out.channelCount, out.frames});
}

void LV2Effect::reset() noexcept
{
    impl_->stage->reset();
}

std::uint32_t LV2Effect::latency() const noexcept
{
    return impl_->stage->latency();
}

} // namespace kx
