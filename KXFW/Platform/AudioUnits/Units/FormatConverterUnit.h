#pragma once

#include "KXFW/Platform/AudioUnits/Unit.h"

namespace kx
{

/// Changes sample format, channels and rate between its two sides. A side that nobody set follows connections.
class FormatConverterUnit final : public Unit
{
public:
    FormatConverterUnit(); ///< [any]

protected:
    Result<std::unique_ptr<Renderer>> makeRenderer(const UnitFormats &formats) override;
};

} // namespace kx
