#include "Apps/kxplayer/Decibels.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace kxplayer
{

namespace
{

constexpr double kSilence = -std::numeric_limits<double>::infinity();

} // namespace

double decibelsOfPosition(int position)
{
    if (position <= 0)
        return kSilence;
    return kLowestDecibels + static_cast<double>(std::min(position, kLoudestPosition)) / kStepsPerDecibel;
}

double gainOfDecibels(double decibels)
{
    return std::pow(10.0, decibels / 20.0);
}

double decibelsOfGain(double gain)
{
    return gain > 0 ? 20.0 * std::log10(gain) : kSilence;
}

int positionOfDecibels(double decibels)
{
    if (!(decibels > kLowestDecibels))
        return 0;
    return static_cast<int>(std::lround((std::min(decibels, 0.0) - kLowestDecibels) * kStepsPerDecibel));
}

std::string decibelText(double decibels)
{
    if (decibels == kSilence)
        return "-∞ dB";
    char text[32];
    const double tenths = std::round(decibels * 10);
    std::snprintf(text, sizeof text, "%.1f dB", tenths == 0 ? 0.0 : tenths / 10); // never "-0.0"
    return text;
}

} // namespace kxplayer
