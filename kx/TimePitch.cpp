#include "kx/TimePitch.h"

#include "KXFW/Platform/AudioUnits/TimePitchControl.h"
#include "KXFW/Platform/Foundation/BufferList.h"

#include <array>
#include <atomic>

namespace kx
{

namespace
{

constexpr std::uint32_t kTimePitchChannels = 2;

/// The source of an effect, as the renderer pulls it.
class TimePitchInput final : public FrameSource
{
public:
    explicit TimePitchInput(Effect::Source &source) noexcept : source_(source) {}

    OSStatus pull(const AudioTimeStamp & /*time*/, uint32_t frames, AudioBufferList &list) noexcept override
    {
        std::array<float *, kTimePitchChannels> channels{};
        for (std::uint32_t i = 0; i < kTimePitchChannels; ++i)
            channels[i] = static_cast<float *>((&list.mBuffers[0])[i].mData);
        source_.pull({channels.data(), kTimePitchChannels, frames});
        return noErr;
    }
    [[nodiscard]] uint32_t discontinuities() const noexcept override { return source_.jumps(); }

private:
    Effect::Source &source_;
};

Result<> setIn(Parameter &parameter, std::atomic<double> &shown, double value, const char *refusal)
{
    if (!(value >= double{parameter.minimum} && value <= double{parameter.maximum}))
        return Error{ErrorCode::InvalidArgument, refusal, {}};
    shown = value;
    parameter.value = static_cast<float>(value);
    return {};
}

} // namespace

struct TimePitch::Impl {
    TimePitchControl control;
    std::atomic<double> rate{1}; ///< as it was set, to the last digit
    std::atomic<double> cents{0};
    BufferList out{kTimePitchChannels, 1, 0}; ///< pointers only
    std::unique_ptr<Renderer> renderer;
};

TimePitch::TimePitch() : impl_(std::make_unique<Impl>()) {}
TimePitch::~TimePitch() = default;

Result<> TimePitch::setRate(double rate)
{
    return setIn(impl_->control.parameters()[0], impl_->rate, rate, "the rate has to be from 0.25 to 4");
}

double TimePitch::rate() const noexcept
{
    return impl_->rate;
}

Result<> TimePitch::setPitch(double cents)
{
    return setIn(impl_->control.parameters()[1], impl_->cents, cents, "the pitch has to be from -2400 to 2400 cents");
}

double TimePitch::pitch() const noexcept
{
    return impl_->cents;
}

void TimePitch::prepare(const Format &format)
{
    impl_->renderer = makeTimePitchRenderer(impl_->control, format.mostFrames);
    impl_->renderer->takePlace(nullptr);
}

void TimePitch::process(Source &source, const Block &out) noexcept
{
    AudioBufferList &list = *impl_->out.get();
    for (std::uint32_t i = 0; i < kTimePitchChannels; ++i)
        (&list.mBuffers[0])[i].mData = out.channels[i];
    TimePitchInput input(source);
    impl_->renderer->render(input, {}, out.frames, list);
}

void TimePitch::reset() noexcept
{
    if (impl_->renderer)
        impl_->renderer->reset();
}

std::uint32_t TimePitch::heldFrames() const noexcept
{
    return impl_->control.heldFrames();
}

double TimePitch::drawRate() const noexcept
{
    return double{impl_->control.setting().rate};
}

} // namespace kx
