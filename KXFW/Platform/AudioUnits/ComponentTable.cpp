#include "KXFW/Platform/AudioUnits/ComponentTable.h"

#include <array>

namespace kx
{

std::span<const ComponentRow> componentTable() noexcept
{
    // The plain converter stands before other units of its type, so that a search for any subtype finds it first.
    static constexpr std::array kRows{
        ComponentRow{
            {kAudioUnitType_FormatConverter, kAudioUnitSubType_AUConverter, kAudioUnitManufacturer_Platform, 0, 0},
            makeFormatConverterUnit},
        ComponentRow{
            {kAudioUnitType_FormatConverter, kAudioUnitSubType_TimePitch, kAudioUnitManufacturer_Platform, 0, 0},
            makeTimePitchUnit},
        ComponentRow{{kAudioUnitType_Output, kAudioUnitSubType_DefaultOutput, kAudioUnitManufacturer_Platform, 0, 0},
                     makeOutputUnit},
    };
    return kRows;
}

} // namespace kx
