#include "KXFW/Platform/Conversion/SampleFormat.h"

#include "KXFW/Platform/Foundation/BufferList.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <random>
#include <string>
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

/// The naive model: a sample is its bytes, most significant first.
using Digits = std::vector<uint8_t>;

Digits digitsOf(uint64_t word, uint32_t bits)
{
    Digits digits;
    for (uint32_t shift = bits; shift > 0; shift -= 8)
        digits.push_back(static_cast<uint8_t>(word >> (shift - 8)));
    return digits;
}

Digits modelStore(float value, uint32_t bits, uint32_t flags)
{
    const double number = std::isnan(value) ? 0.0 : static_cast<double>(value);
    if (flags & kFloat) {
        const double most = std::numeric_limits<float>::max();
        const double held = std::min(std::max(number, -most), most);
        if (bits == 32)
            return digitsOf(std::bit_cast<uint32_t>(static_cast<float>(held)), bits);
        return digitsOf(std::bit_cast<uint64_t>(held), bits);
    }
    const double scale = std::ldexp(1.0, static_cast<int>(bits) - 1);
    const double scaled = std::nearbyint(std::min(std::max(number * scale, -scale), scale - 1));
    const auto integer = static_cast<int64_t>(scaled) + (flags & kSigned ? 0 : 128);
    return digitsOf(static_cast<uint64_t>(integer), bits);
}

float modelLoad(const Digits &digits, uint32_t flags)
{
    uint64_t word = 0;
    for (uint8_t digit : digits)
        word = word << 8 | digit;
    const auto bits = static_cast<uint32_t>(8 * digits.size());
    if (flags & kFloat) {
        const float value = bits == 32 ? std::bit_cast<float>(static_cast<uint32_t>(word))
                                       : static_cast<float>(std::bit_cast<double>(word));
        const float most = std::numeric_limits<float>::max();
        return std::isnan(value) ? 0 : std::min(std::max(value, -most), most);
    }
    const double scale = std::ldexp(1.0, static_cast<int>(bits) - 1);
    const double unsignedValue = static_cast<double>(word);
    if (!(flags & kSigned))
        return static_cast<float>((unsignedValue - scale) / scale);
    return static_cast<float>((unsignedValue < scale ? unsignedValue : unsignedValue - 2 * scale) / scale);
}

/// The bytes of sample `frame` of `channel`, most significant first.
Digits digitsAt(const AudioStreamBasicDescription &format, const kx::BufferList &list, uint32_t frame, uint32_t channel)
{
    const bool planar = kx::isNonInterleaved(format);
    const uint32_t width = format.mBitsPerChannel / 8;
    const std::byte *from =
        list.data(planar ? channel : 0) + frame * format.mBytesPerFrame + (planar ? 0 : channel * width);
    Digits digits;
    for (uint32_t i = 0; i < width; ++i)
        digits.push_back(std::to_integer<uint8_t>(from[format.mFormatFlags & kBig ? i : width - 1 - i]));
    return digits;
}

/// Random formats, sizes and levels, the same for the same seed.
class Chance
{
public:
    explicit Chance(uint32_t seed) : random_(seed) {}

    uint32_t upTo(uint32_t limit) { return static_cast<uint32_t>(random_() % (limit + 1)); }

    AudioStreamBasicDescription anyFormat()
    {
        struct Kind {
            uint32_t bits;
            uint32_t flags;
        };
        constexpr Kind kinds[] = {{8, 0},        {8, kSigned}, {16, kSigned}, {24, kSigned},
                                  {32, kSigned}, {32, kFloat}, {64, kFloat}};
        const Kind kind = kinds[upTo(6)];
        return pcm(1 + upTo(3), kind.bits, kind.flags | (upTo(1) ? kBig : 0) | (upTo(1) ? kPlanar : 0));
    }

    /// Levels within and beyond the range, ties between two integers, and what is no level at all.
    float anyLevel()
    {
        constexpr float infinity = std::numeric_limits<float>::infinity();
        constexpr float nan = std::numeric_limits<float>::quiet_NaN();
        constexpr float special[] = {0, -0.0F, 1, -1, 0.99999F, -1.00001F, 1e30F, infinity, -infinity, 1e-40F, nan};
        switch (upTo(3)) {
        case 0:
            return special[upTo(std::size(special) - 1)];
        case 1:
            return (static_cast<float>(upTo(65536)) - 32768.0F + 0.5F) / 32768.0F;
        default:
            return static_cast<float>(upTo(1 << 24)) / 6e6F - 1.4F;
        }
    }

private:
    std::mt19937 random_;
};

/// Writes random levels and compares the bytes, what lies beside them included; then reads random bytes.
void expectBothWaysEqualTheModel(Chance &chance)
{
    const auto format = chance.anyFormat();
    ASSERT_TRUE(kx::isConvertible(format));
    const uint32_t first = chance.upTo(5);
    const uint32_t frames = chance.upTo(chance.upTo(3) == 0 ? 700 : 50);
    SCOPED_TRACE(testing::Message() << format.mBitsPerChannel << " bits, flags " << format.mFormatFlags << ", "
                                    << format.mChannelsPerFrame << " channels, frames " << first << " + " << frames);
    const auto list = bufferFor(format, first + frames + 3);
    Planar floats(format.mChannelsPerFrame, frames + 1);
    for (auto &plane : floats.samples)
        std::generate(plane.begin(), plane.end(), [&] { return chance.anyLevel(); });
    const auto fillBytes = [&](const auto &byte) {
        for (uint32_t b = 0; b < kx::bufferCount(format); ++b)
            std::generate_n(list.data(b), list.get()->mBuffers[b].mDataByteSize,
                            [&] { return static_cast<std::byte>(byte()); });
    };
    fillBytes([] { return 0xA5U; });
    kx::fromPlanarFloat(format, floats.pointers.data(), frames, *list.get(), first);
    for (uint32_t c = 0; c < format.mChannelsPerFrame; ++c)
        for (uint32_t n = 0; n < first + frames + 3; ++n) {
            Digits expected(format.mBitsPerChannel / 8, 0xA5);
            if (n >= first && n < first + frames)
                expected = modelStore(floats.samples[c][n - first], format.mBitsPerChannel, format.mFormatFlags);
            ASSERT_EQ(digitsAt(format, list, n, c), expected) << "writing channel " << c << ", frame " << n;
        }
    fillBytes([&] { return chance.upTo(9) == 0 ? 0xFFU : chance.upTo(255); });
    for (auto &plane : floats.samples)
        plane[frames] = 7;
    kx::toPlanarFloat(format, *list.get(), first, frames, floats.pointers.data());
    for (uint32_t c = 0; c < format.mChannelsPerFrame; ++c) {
        EXPECT_EQ(floats.samples[c][frames], 7) << "written past the end";
        for (uint32_t n = 0; n < frames; ++n)
            ASSERT_EQ(floats.samples[c][n], modelLoad(digitsAt(format, list, first + n, c), format.mFormatFlags))
                << "reading channel " << c << ", frame " << n;
    }
}

void expectDeinterleavingEqualsTheModel(Chance &chance)
{
    const uint32_t channels = 1 + chance.upTo(7);
    const uint32_t frames = chance.upTo(40);
    std::vector<int16_t> integers(std::size_t{channels} * frames);
    std::vector<float> floats(integers.size());
    std::generate(integers.begin(), integers.end(), [&] { return static_cast<int16_t>(chance.upTo(65535)); });
    std::generate(floats.begin(), floats.end(), [&] { return chance.anyLevel(); });
    Planar fromIntegers(channels, frames);
    Planar fromFloats(channels, frames);
    kx::deinterleave(integers.data(), channels, frames, fromIntegers.pointers.data());
    kx::deinterleave(floats.data(), channels, frames, fromFloats.pointers.data());
    for (uint32_t c = 0; c < channels; ++c)
        for (uint32_t n = 0; n < frames; ++n) {
            const std::size_t at = std::size_t{n} * channels + c;
            ASSERT_EQ(fromIntegers.samples[c][n], static_cast<float>(integers[at]) / 32768) << channels << ", " << n;
            ASSERT_EQ(fromFloats.samples[c][n], modelLoad(modelStore(floats[at], 32, kFloat), kFloat))
                << channels << ", " << n;
        }
}

TEST(SampleFormat, EqualsTheModelForRandomFormatsSizesAndLevels)
{
    for (uint32_t seed = 1; seed <= 400; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Chance chance(seed);
        expectBothWaysEqualTheModel(chance);
        expectDeinterleavingEqualsTheModel(chance);
        if (HasFailure())
            return;
    }
}

TEST(SampleFormat, ExchangesTheBytesOfAnyNumberOfWordsAtAnyAddress)
{
    for (std::size_t count = 0; count < 70; ++count)
        for (std::size_t offset : {0U, 1U}) {
            std::vector<uint8_t> bytes(2 * count + offset + 1);
            std::iota(bytes.begin(), bytes.end(), uint8_t{0});
            std::vector<uint8_t> expected = bytes;
            for (std::size_t n = 0; n < count; ++n)
                std::swap(expected[offset + 2 * n], expected[offset + 2 * n + 1]);
            std::vector<uint8_t> elsewhere(bytes);
            kx::swapBytes16(bytes.data() + offset, elsewhere.data() + offset, count);
            EXPECT_EQ(elsewhere, expected) << count;
            kx::swapBytes16(bytes.data() + offset, bytes.data() + offset, count);
            EXPECT_EQ(bytes, expected) << count << " in place";
        }
}

TEST(SampleFormat, RefusesWhatItCannotConvert)
{
    using Format = AudioStreamBasicDescription;
    const auto refused = [](const char *what, auto change) {
        auto format = pcm(2, 16, kSigned | kBig);
        change(format);
        EXPECT_FALSE(kx::isConvertible(format)) << what;
    };
    refused("MP3", [](Format &f) { f.mFormatID = kAudioFormatMPEGLayer3; });
    refused("unknown flag", [](Format &f) { f.mFormatFlags |= 64; });
    refused("unsigned 16 bits", [](Format &f) { f = pcm(2, 16, 0); });
    refused("16-bit float", [](Format &f) { f = pcm(2, 16, kFloat); });
    refused("signed float", [](Format &f) { f = pcm(2, 32, kFloat | kSigned); });
    refused("12 bits", [](Format &f) { f.mBitsPerChannel = 12; });
    refused("no bits", [](Format &f) { f = pcm(2, 0, kSigned); });
    refused("no channels", [](Format &f) { f = pcm(0, 16, kSigned); });
    refused("65 channels", [](Format &f) { f = pcm(65, 16, kSigned); });
    refused("2^31 channels", [](Format &f) { f.mChannelsPerFrame = 1U << 31; });
    refused("frame of another size", [](Format &f) { f.mBytesPerFrame = 2; });
    refused("packet of another size", [](Format &f) { f.mBytesPerPacket = 8; });
    refused("two frames a packet", [](Format &f) { f.mFramesPerPacket = 2; });
    refused("interleaved size, not interleaved", [](Format &f) { f.mFormatFlags |= kPlanar; });
    for (double rate : {0.0, -44100.0, 999.0, 768001.0, std::numeric_limits<double>::quiet_NaN()})
        refused("rate", [&](Format &f) { f.mSampleRate = rate; });
}

} // namespace
