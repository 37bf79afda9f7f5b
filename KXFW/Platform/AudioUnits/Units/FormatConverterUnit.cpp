#include "KXFW/Platform/AudioUnits/Units/FormatConverterUnit.h"

#include "KXFW/Platform/AudioUnits/ComponentTable.h"
#include "KXFW/Platform/AudioUnits/Units/FormatConversion.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <utility>

namespace kx
{

namespace
{

class ConverterRenderer final : public Renderer
{
public:
    explicit ConverterRenderer(std::unique_ptr<FormatConversion> conversion) : conversion_(std::move(conversion)) {}

    OSStatus render(FrameSource &input, const AudioTimeStamp &time, uint32_t frames,
                    AudioBufferList &out) noexcept override
    {
        return conversion_->render(input, time, frames, out).status;
    }

    void reset() noexcept override { conversion_->reset(); }

private:
    std::unique_ptr<FormatConversion> conversion_;
};

constexpr UnitShape kFormatConverterShape{
    .formats = {planarFloat(kCanonicalSampleRate, 2), planarFloat(kCanonicalSampleRate, 2), kDefaultMaximumFrames},
    .inputSettable = true,
    .outputSettable = true};

} // namespace

FormatConverterUnit::FormatConverterUnit() : Unit(kFormatConverterShape) {}

Result<std::unique_ptr<Renderer>> FormatConverterUnit::makeRenderer(const UnitFormats &formats)
{
    auto conversion = FormatConversion::make(formats.input, formats.output, formats.maximumFrames);
    if (!conversion)
        return conversion.status();
    return std::unique_ptr<Renderer>(std::make_unique<ConverterRenderer>(*std::move(conversion)));
}

std::shared_ptr<Unit> makeFormatConverterUnit()
{
    return std::make_shared<FormatConverterUnit>();
}

} // namespace kx
