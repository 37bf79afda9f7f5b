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

TEST(SampleFormat, Every24BitAnd8BitValueSurvives)
{
    constexpr uint32_t kFrames = 1 << 16;
    for (uint32_t flags : {kSigned, kSigned | kBig}) {
        const auto format = pcm(1, 24, flags);
        const auto in = bufferFor(format, kFrames);
        const auto out = bufferFor(format, kFrames);
        Planar floats(1, kFrames);
        for (uint32_t high = 0; high < 256; ++high) {
            for (uint32_t i = 0; i < kFrames; ++i) {
                const uint32_t value = high << 16 | i;
                std::memcpy(in.data(0) + std::size_t{3} * i, &value, 3);
            }
            kx::toPlanarFloat(format, *in.get(), 0, kFrames, floats.pointers.data());
            kx::fromPlanarFloat(format, floats.pointers.data(), kFrames, *out.get(), 0);
            ASSERT_EQ(std::memcmp(in.data(0), out.data(0), std::size_t{3} * kFrames), 0) << flags << ", high " << high;
        }
    }
    for (uint32_t flags : {0U, kSigned}) {
        const auto format = pcm(2, 8, flags);
        const auto in = bufferFor(format, 128);
        const auto out = bufferFor(format, 128);
        for (uint32_t i = 0; i < 256; ++i)
            in.data(0)[i] = static_cast<std::byte>(i);
        Planar floats(2, 128);
        kx::toPlanarFloat(format, *in.get(), 0, 128, floats.pointers.data());
        kx::fromPlanarFloat(format, floats.pointers.data(), 128, *out.get(), 0);
        EXPECT_EQ(std::memcmp(in.data(0), out.data(0), 256), 0) << flags;
    }
}

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
        constexpr float special[] = {0.0F,
                                     -0.0F,
                                     1.0F,
                                     -1.0F,
                                     0.99999F,
                                     -1.00001F,
                                     1e30F,
                                     infinity,
                                     -infinity,
                                     1e-40F,
                                     std::numeric_limits<float>::quiet_NaN()};
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

void expectWritingEqualsTheModel(Chance &chance)
{
    const auto format = chance.anyFormat();
    ASSERT_TRUE(kx::isConvertible(format));
    const uint32_t first = chance.upTo(5);
    const uint32_t frames = chance.upTo(50);
    const auto out = bufferFor(format, first + frames + 3);
    for (uint32_t b = 0; b < kx::bufferCount(format); ++b)
        std::memset(out.data(b), 0xA5, out.get()->mBuffers[b].mDataByteSize);
    Planar floats(format.mChannelsPerFrame, frames);
    for (auto &plane : floats.samples)
        std::generate(plane.begin(), plane.end(), [&] { return chance.anyLevel(); });
    kx::fromPlanarFloat(format, floats.pointers.data(), frames, *out.get(), first);
    for (uint32_t c = 0; c < format.mChannelsPerFrame; ++c)
        for (uint32_t n = 0; n < first + frames + 3; ++n) {
            const bool written = n >= first && n < first + frames;
            const Digits expected =
                written ? modelStore(floats.samples[c][n - first], format.mBitsPerChannel, format.mFormatFlags)
                        : Digits(format.mBitsPerChannel / 8, 0xA5);
            ASSERT_EQ(digitsAt(format, out, n, c), expected)
                << format.mBitsPerChannel << " bits, flags " << format.mFormatFlags << ", channel " << c << " of "
                << format.mChannelsPerFrame << ", frame " << n << " of " << first << " + " << frames;
        }
}

void expectReadingEqualsTheModel(Chance &chance)
{
    const auto format = chance.anyFormat();
    const uint32_t first = chance.upTo(5);
    const uint32_t frames = chance.upTo(50);
    const auto in = bufferFor(format, first + frames);
    for (uint32_t b = 0; b < kx::bufferCount(format); ++b)
        for (uint32_t i = 0; i < in.get()->mBuffers[b].mDataByteSize; ++i)
            in.data(b)[i] = static_cast<std::byte>(chance.upTo(9) == 0 ? 0xFF : chance.upTo(255));
    Planar floats(format.mChannelsPerFrame, frames + 1);
    kx::toPlanarFloat(format, *in.get(), first, frames, floats.pointers.data());
    for (uint32_t c = 0; c < format.mChannelsPerFrame; ++c) {
        EXPECT_EQ(floats.samples[c][frames], 0) << "written past the end";
        for (uint32_t n = 0; n < frames; ++n)
            ASSERT_EQ(floats.samples[c][n], modelLoad(digitsAt(format, in, first + n, c), format.mFormatFlags))
                << format.mBitsPerChannel << " bits, flags " << format.mFormatFlags << ", channel " << c << " of "
                << format.mChannelsPerFrame << ", frame " << n << " of " << frames;
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
        expectWritingEqualsTheModel(chance);
        expectReadingEqualsTheModel(chance);
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
    const auto good = pcm(2, 16, kSigned | kBig);
    EXPECT_TRUE(kx::isConvertible(good));
    EXPECT_TRUE(kx::isConvertible(kx::planarFloat(44100, 2)));
    const auto refused = [&](const char *what, auto change) {
        auto format = good;
        change(format);
        EXPECT_FALSE(kx::isConvertible(format)) << what;
    };
    using Format = AudioStreamBasicDescription;
    refused("MP3", [](Format &f) { f.mFormatID = kAudioFormatMPEGLayer3; });
    refused("unknown flag", [](Format &f) { f.mFormatFlags |= 64; });
    refused("unsigned 16 bits", [](Format &f) { f.mFormatFlags = kAudioFormatFlagIsPacked; });
    refused("16-bit float", [](Format &f) { f.mFormatFlags = kFloat | kAudioFormatFlagIsPacked; });
    refused("signed float", [](Format &f) { f = pcm(2, 32, kFloat | kSigned); });
    refused("12 bits", [](Format &f) { f.mBitsPerChannel = 12; });
    refused("no bits", [](Format &f) { f = pcm(2, 0, kSigned); });
    refused("no channels", [](Format &f) { f = pcm(0, 16, kSigned); });
    refused("65 channels", [](Format &f) { f = pcm(65, 16, kSigned); });
    refused("2^31 channels", [](Format &f) { f.mChannelsPerFrame = 1U << 31; });
    refused("24 bits aligned high in 4 bytes", [](Format &f) {
        f = pcm(1, 24, kSigned | kAudioFormatFlagIsAlignedHigh);
        f.mBytesPerFrame = f.mBytesPerPacket = 4;
    });
    refused("frame of another size", [](Format &f) { f.mBytesPerFrame = 2; });
    refused("packet of another size", [](Format &f) { f.mBytesPerPacket = 8; });
    refused("two frames a packet", [](Format &f) { f.mFramesPerPacket = 2; });
    refused("interleaved size, not interleaved", [](Format &f) { f.mFormatFlags |= kPlanar; });
    for (double rate : {0.0, -44100.0, 999.0, 768001.0, std::numeric_limits<double>::quiet_NaN()})
        refused("rate", [&](Format &f) { f.mSampleRate = rate; });
}

} // namespace
