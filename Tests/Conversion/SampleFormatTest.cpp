#include "KXFW/Platform/Conversion/SampleFormat.h"

#include "KXFW/Platform/Foundation/BufferList.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace
{

constexpr uint32_t kSigned = kAudioFormatFlagIsSignedInteger;
constexpr uint32_t kFloat = kAudioFormatFlagIsFloat;
constexpr uint32_t kBig = kAudioFormatFlagIsBigEndian;
constexpr uint32_t kPlanar = kAudioFormatFlagIsNonInterleaved;

AudioStreamBasicDescription pcm(uint32_t channels, uint32_t bits, uint32_t flags)
{
    auto format = kx::interleaved(44100, channels, bits, flags);
    if (kx::isNonInterleaved(format))
        format.mBytesPerFrame = format.mBytesPerPacket = bits / 8;
    return format;
}

kx::BufferList bufferFor(const AudioStreamBasicDescription &format, uint32_t frames)
{
    return {kx::bufferCount(format), kx::channelsPerBuffer(format), frames * format.mBytesPerFrame};
}

/// Planar floats with their array of pointers.
struct Planar {
    Planar(uint32_t channels, uint32_t frames) : samples(channels, std::vector<float>(frames)), pointers(channels)
    {
        for (uint32_t c = 0; c < channels; ++c)
            pointers[c] = samples[c].data();
    }
    std::vector<std::vector<float>> samples;
    std::vector<float *> pointers;
};

TEST(SampleFormat, Every16BitValueSurvivesTheWayThroughFloat)
{
    constexpr uint32_t kFrames = 65536;
    for (uint32_t channels : {1U, 2U, 3U})
        for (uint32_t flags : {0U, kBig, kPlanar, kBig | kPlanar}) {
            const auto format = pcm(channels, 16, kSigned | flags);
            const auto in = bufferFor(format, kFrames);
            const auto out = bufferFor(format, kFrames);
            for (uint32_t b = 0; b < kx::bufferCount(format); ++b)
                for (uint32_t i = 0; i < kFrames * kx::channelsPerBuffer(format); ++i) {
                    const auto value = static_cast<uint16_t>(i + 1000 * b);
                    std::memcpy(in.data(b) + 2 * i, &value, 2);
                }
            Planar floats(channels, kFrames);
            kx::toPlanarFloat(format, *in.get(), 0, kFrames, floats.pointers.data());
            kx::fromPlanarFloat(format, floats.pointers.data(), kFrames, *out.get(), 0);
            for (uint32_t b = 0; b < kx::bufferCount(format); ++b)
                EXPECT_EQ(std::memcmp(in.data(b), out.data(b), kFrames * format.mBytesPerFrame), 0)
                    << channels << " channels, flags " << flags << ", buffer " << b;
        }
}

} // namespace
