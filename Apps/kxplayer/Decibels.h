/// @file
/// Positions of a volume slider, decibels and gains. The slider's range is 0 to kLoudestPosition, a tenth of a decibel
/// a step; its lowest position is silence, its highest the file as it is, more than which the player does not play.
#pragma once

#include <string>

namespace kxplayer
{

inline constexpr int kStepsPerDecibel = 10;
inline constexpr int kLowestDecibels = -60; ///< at position 0, which stands for silence
inline constexpr int kLoudestPosition = -kLowestDecibels * kStepsPerDecibel;

/// Minus infinity at position 0 and below; 0 at most.
double decibelsOfPosition(int position);
/// 0 for minus infinity, 1 for 0 decibels.
double gainOfDecibels(double decibels);
/// Minus infinity for gains of 0 and below, and for what is no number.
double decibelsOfGain(double gain);
/// The nearest position.
int positionOfDecibels(double decibels);
/// "-12.5 dB", "0.0 dB", "-∞ dB"; UTF-8.
std::string decibelText(double decibels);

} // namespace kxplayer
