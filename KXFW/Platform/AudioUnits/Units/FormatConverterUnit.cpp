#include "KXFW/Platform/AudioUnits/Units/FormatConverterUnit.h"

#include "KXFW/Platform/AudioUnits/ComponentTable.h"
#include "KXFW/Platform/AudioUnits/Units/FormatConversion.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kx
{

namespace
{

/// Output frame n of a change of rate is made of input frame n x input rate / output rate: what is drawn and given is
/// counted in parts of an input frame, so that nothing is rounded.
class ConverterRenderer final : public Renderer
{
public:
    ConverterRenderer(FormatConverterUnit &unit, std::unique_ptr<FormatConversion> conversion,
                      const UnitFormats &formats)
        : unit_(unit), conversion_(std::move(conversion)), inRate_(std::llround(formats.input.mSampleRate)),
          outRate_(std::llround(formats.output.mSampleRate))
    {
    }

    OSStatus render(FrameSource &input, const AudioTimeStamp &time, uint32_t frames,
                    AudioBufferList &out) noexcept override
    {
        if (!conversion_->keepsFrames())
            return conversion_->render(input, time, frames, out).status;
        tell(kept_ - frames * inRate_); // of the whole slice, so that a callback knows what it will keep
        CountedInput counted(input, *this);
        const auto outcome = conversion_->render(counted, time, frames, out);
        if (outcome.status != noErr)
            tell(kept_ + frames * inRate_); // nothing was given
        return outcome.status;
    }

    void takePlace(Renderer *before) noexcept override
    {
        auto *const old = static_cast<ConverterRenderer *>(before);
        if (old)
            conversion_->continueFrom(*old->conversion_);
        tell(old ? old->kept_ : 0);
    }

    void reset() noexcept override
    {
        conversion_->reset();
        tell(0);
    }

private:
    class CountedInput final : public FrameSource
    {
    public:
        CountedInput(FrameSource &input, ConverterRenderer &owner) : input_(input), owner_(owner) {}

        OSStatus pull(const AudioTimeStamp &time, uint32_t frames, AudioBufferList &list) noexcept override
        {
            owner_.tell(owner_.kept_ + frames * owner_.outRate_);
            return input_.pull(time, frames, list);
        }
        [[nodiscard]] bool ended() const noexcept override { return input_.ended(); }

    private:
        FrameSource &input_;
        ConverterRenderer &owner_;
    };

    void tell(int64_t kept) noexcept { unit_.tellKept(kept_ = kept); }

    FormatConverterUnit &unit_;
    std::unique_ptr<FormatConversion> conversion_;
    int64_t inRate_;
    int64_t outRate_;
    int64_t kept_ = 0; ///< in parts of an input frame, outRate_ of them
};

constexpr UnitShape kFormatConverterShape{
    .formats = {planarFloat(kCanonicalSampleRate, 2), planarFloat(kCanonicalSampleRate, 2), kDefaultMaximumFrames},
    .inputSettable = true,
    .outputSettable = true};

} // namespace

FormatConverterUnit::FormatConverterUnit() : Unit(kFormatConverterShape) {}

StatusOr<std::unique_ptr<Renderer>> FormatConverterUnit::makeRenderer(const UnitFormats &formats)
{
    auto conversion = FormatConversion::make(formats.input, formats.output, formats.maximumFrames);
    if (!conversion)
        return conversion.status();
    return std::unique_ptr<Renderer>(std::make_unique<ConverterRenderer>(*this, *std::move(conversion), formats));
}

/// Input frames that are not played, `behind` frames of the output counted back.
uint32_t FormatConverterUnit::ownHeldFrames(uint32_t behind) const
{
    const UnitFormats sides = formats();
    const int64_t inRate = std::llround(sides.input.mSampleRate);
    const int64_t outRate = std::llround(sides.output.mSampleRate);
    if (inRate == outRate || !isInitialized())
        return behind;
    return static_cast<uint32_t>(std::max<int64_t>(kept_ + behind * inRate + outRate - 1, 0) / outRate);
}

double FormatConverterUnit::ownDrawRate() const
{
    const UnitFormats sides = formats();
    return sides.input.mSampleRate / sides.output.mSampleRate;
}

std::shared_ptr<Unit> makeFormatConverterUnit()
{
    return std::make_shared<FormatConverterUnit>();
}

} // namespace kx
