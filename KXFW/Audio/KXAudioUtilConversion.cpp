#include "KXFW/Audio/KXAudioUtil.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace
{

bool isRate(double rate)
{
    return rate > 0 && std::isfinite(rate);
}

/// The byte count scaled by the rates of both sides, without its fraction.
uint32_t scaled(uint32_t bytes, double toRate, double fromRate)
{
    if (bytes == 0 || !isRate(toRate) || !isRate(fromRate)) // no bytes stay none even where the ratio is infinite
        return 0;
    const double result = toRate / fromRate * bytes;
    return result < 4294967296.0 ? static_cast<uint32_t>(result) : UINT32_MAX;
}

struct RateRange {
    double lowest;
    double highest;
};

constexpr std::array kAcceptedRates{
    RateRange{7999, 8001},   RateRange{11024, 11026}, RateRange{22049, 22051}, RateRange{31999, 32001},
    RateRange{44099, 44101}, RateRange{47999, 48001}, RateRange{95999, 96001},
};

} // namespace

uint32_t KXAudioUtil::bytesAfterConversion(uint32_t bytes, const AudioStreamBasicDescription &inDesc,
                                           const AudioStreamBasicDescription &outDesc)
{
    if (inDesc.mBytesPerFrame == 0)
        return 0;
    const uint32_t frames = bytes / inDesc.mBytesPerFrame;
    return scaled(frames * outDesc.mBytesPerFrame, outDesc.mSampleRate, inDesc.mSampleRate);
}

uint32_t KXAudioUtil::bytesBeforeConversion(uint32_t bytes, const AudioStreamBasicDescription &inDesc,
                                            const AudioStreamBasicDescription &outDesc)
{
    return bytesAfterConversion(bytes, outDesc, inDesc);
}

uint32_t KXAudioUtil::bytesAfterConversionForPackets(uint32_t packets, const AudioStreamBasicDescription &inDesc,
                                                     const AudioStreamBasicDescription &outDesc)
{
    return scaled(packets * inDesc.mFramesPerPacket * outDesc.mBytesPerFrame, outDesc.mSampleRate, inDesc.mSampleRate);
}

bool KXAudioUtil::isInvalidFormat(const AudioStreamBasicDescription &description)
{
    const double rate = description.mSampleRate;
    const uint32_t bits = description.mBitsPerChannel;
    const bool rateFits = std::ranges::any_of(
        kAcceptedRates, [rate](const RateRange &range) { return rate >= range.lowest && rate <= range.highest; });
    return rateFits && (description.mChannelsPerFrame == 1 || description.mChannelsPerFrame == 2) &&
           (bits == 8 || bits == 16 || bits == 24 || bits == 32);
}

double KXAudioUtil::dBFromLevel(double level)
{
    return 20.0 * static_cast<double>(log10f(static_cast<float>(level)));
}

double KXAudioUtil::levelFromDB(double dB)
{
    return std::pow(10.0, dB / 20.0); // exact at -20 dB, where exp10 of the C library is not
}
