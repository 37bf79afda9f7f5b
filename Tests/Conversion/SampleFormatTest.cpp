#include "KXFW/Platform/Conversion/SampleFormat.h"

#include "KXFW/Platform/Foundation/BufferList.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"
#include "Tests/Conversion/TestPlanes.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

namespace
{

constexpr uint32_t kSigned = kAudioFormatFlagIsSignedInteger;
constexpr uint32_t kFloat = kAudioFormatFlagIsFloat;
constexpr uint32_t kBig = kAudioFormatFlagIsBigEndian;
constexpr uint32_t kPlanar = kAudioFormatFlagIsNonInterleaved;

using Planes = kx::test::TestPlanes;
using kx::test::pointersTo;

/// The naive model: a sample is a number whose bytes lie in one of two orders.
uint64_t modelStore(float value, uint32_t bits, uint32_t flags)
{
    const double number = std::isnan(value) ? 0.0 : static_cast<double>(value);
    if (flags & kFloat) {
        const double most = std::numeric_limits<float>::max();
        const double held = std::min(std::max(number, -most), most);
        return bits == 32 ? std::bit_cast<uint32_t>(static_cast<float>(held)) : std::bit_cast<uint64_t>(held);
    }
    const double scale = std::ldexp(1.0, static_cast<int>(bits) - 1);
    const double scaled = std::nearbyint(std::min(std::max(number * scale, -scale), scale - 1));
    const auto integer = static_cast<int64_t>(scaled) + (flags & kSigned ? 0 : 128);
    return static_cast<uint64_t>(integer) & ((uint64_t{1} << bits) - 1);
}

float modelLoad(uint64_t word, uint32_t bits, uint32_t flags)
{
    if (flags & kFloat) {
        const float value = bits == 32 ? std::bit_cast<float>(static_cast<uint32_t>(word))
                                       : static_cast<float>(std::bit_cast<double>(word));
        const float most = std::numeric_limits<float>::max();
        return std::isnan(value) ? 0 : std::min(std::max(value, -most), most);
    }
    const double scale = std::ldexp(1.0, static_cast<int>(bits) - 1);
    const double number = static_cast<double>(word);
    const double zero = !(flags & kSigned) ? scale : number >= scale ? 2 * scale : 0;
    return static_cast<float>((number - zero) / scale);
}

/// The bytes of sample `frame` of `channel` as a number.
uint64_t wordAt(const AudioStreamBasicDescription &format, const kx::BufferList &list, uint32_t frame, uint32_t channel)
{
    const bool planar = kx::isNonInterleaved(format);
    const uint32_t width = format.mBitsPerChannel / 8;
    const std::byte *from =
        list.data(planar ? channel : 0) + frame * format.mBytesPerFrame + (planar ? 0 : channel * width);
    uint64_t word = 0;
    for (uint32_t i = 0; i < width; ++i)
        word = word << 8 | std::to_integer<uint8_t>(from[format.mFormatFlags & kBig ? i : width - 1 - i]);
    return word;
}

/// Random formats, sizes and levels, the same for the same seed.
struct Chance : std::mt19937 {
    using std::mt19937::mt19937;

    uint32_t upTo(uint32_t limit) { return static_cast<uint32_t>((*this)() % (limit + 1)); }

    AudioStreamBasicDescription anyFormat()
    {
        constexpr std::pair<uint32_t, uint32_t> kinds[] = {{8, 0},        {8, kSigned}, {16, kSigned}, {24, kSigned},
                                                           {32, kSigned}, {32, kFloat}, {64, kFloat}};
        const auto [bits, flags] = kinds[upTo(6)];
        auto format = kx::interleaved(44100, 1 + upTo(3), bits, flags | (upTo(1) ? kBig : 0));
        if (upTo(1)) {
            format.mFormatFlags |= kPlanar;
            format.mBytesPerFrame = format.mBytesPerPacket = bits / 8;
        }
        return format;
    }

    /// Levels within and beyond the range, ties between two integers, and what is no level at all.
    float anyLevel()
    {
        constexpr float infinity = std::numeric_limits<float>::infinity();
        constexpr float nan = std::numeric_limits<float>::quiet_NaN();
        constexpr float special[] = {0,     -0.0F,    1,         -1,     0.99999F, -1.00001F,
                                     1e30F, infinity, -infinity, 1e-40F, 3e-10F,   nan};
        switch (upTo(3)) {
        case 0:
            return special[upTo(std::size(special) - 1)];
        case 1:
            return (static_cast<float>(upTo(65536)) - 32768.0F + 0.5F) / 32768.0F;
        default:
            return static_cast<float>(upTo(1 << 24)) / 6e6F - 1.4F;
        }
    }
};

/// Fills all of the list with what `byte` gives.
template <class Byte> void fill(const kx::BufferList &list, Byte byte)
{
    for (uint32_t b = 0; b < list.get()->mNumberBuffers; ++b)
        std::generate_n(list.data(b), list.get()->mBuffers[b].mDataByteSize,
                        [&] { return static_cast<std::byte>(byte()); });
}

/// Writes random levels and compares the bytes, what lies beside them included; then reads random bytes.
void expectBothWaysEqualTheModel(Chance &chance)
{
    const auto format = chance.anyFormat();
    const auto [bits, flags] = std::pair(format.mBitsPerChannel, format.mFormatFlags);
    ASSERT_TRUE(kx::isConvertible(format));
    const uint32_t first = chance.upTo(5);
    const uint32_t frames = chance.upTo(chance.upTo(3) == 0 ? 700 : 50);
    SCOPED_TRACE(testing::Message() << bits << " bits, flags " << flags << ", " << format.mChannelsPerFrame
                                    << " channels, frames " << first << " + " << frames);
    const kx::BufferList list(kx::bufferCount(format), kx::channelsPerBuffer(format),
                              (first + frames + 3) * format.mBytesPerFrame);
    Planes floats(format.mChannelsPerFrame, std::vector<float>(frames + 1));
    const auto pointers = pointersTo(floats);
    for (auto &plane : floats)
        std::generate(plane.begin(), plane.end(), [&] { return chance.anyLevel(); });
    fill(list, [] { return 0xFFU; });
    kx::fromPlanarFloat(format, pointers.data(), frames, *list.get(), first);
    for (uint32_t c = 0; c < format.mChannelsPerFrame; ++c)
        for (uint32_t n = 0; n < first + frames + 3; ++n) {
            const bool isWritten = n >= first && n < first + frames;
            ASSERT_EQ(wordAt(format, list, n, c),
                      isWritten ? modelStore(floats[c][n - first], bits, flags) : UINT64_MAX >> (64 - bits))
                << "writing channel " << c << ", frame " << n;
        }
    fill(list, [&] { return chance.upTo(9) == 0 ? 0xFFU : chance.upTo(255); });
    for (auto &plane : floats)
        plane[frames] = 7; // must stay
    kx::toPlanarFloat(format, *list.get(), first, frames, pointers.data());
    for (uint32_t c = 0; c < format.mChannelsPerFrame; ++c)
        for (uint32_t n = 0; n <= frames; ++n)
            ASSERT_EQ(floats[c][n], n == frames ? 7 : modelLoad(wordAt(format, list, first + n, c), bits, flags))
                << "reading channel " << c << ", frame " << n;
    const bool isShort = bits == 16;
    if ((flags & (kBig | kPlanar)) || !(isShort || (bits == 32 && (flags & kFloat))))
        return;
    // The shortcuts for the samples of decoders.
    Planes found(floats.size(), std::vector<float>(frames + 1, 7));
    const auto *from = list.data(0) + first * format.mBytesPerFrame;
    const auto shortcut = [&](const auto *samples) {
        kx::deinterleave(samples, format.mChannelsPerFrame, frames, pointersTo(found).data());
    };
    isShort ? shortcut(reinterpret_cast<const int16_t *>(from)) : shortcut(reinterpret_cast<const float *>(from));
    EXPECT_EQ(found, floats);
}

TEST(SampleFormat, EqualsTheModelForRandomFormatsSizesAndLevels)
{
    for (uint32_t seed = 1; seed <= 1000 && !HasFailure(); ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Chance chance(seed);
        expectBothWaysEqualTheModel(chance);
    }
}

TEST(SampleFormat, RefusesWhatItCannotConvert)
{
    constexpr uint32_t kMP3 = kAudioFormatMPEGLayer3;
    constexpr uint32_t kLinear = kAudioFormatLinearPCM;
    const AudioStreamBasicDescription refused[] = {
        {44100, kMP3, kSigned, 4, 1, 4, 2, 16, 0},              // no samples
        {44100, kLinear, kSigned | 64, 4, 1, 4, 2, 16, 0},      // an unknown flag
        {44100, kLinear, 0, 4, 1, 4, 2, 16, 0},                 // unsigned, and not 8 bits
        {44100, kLinear, kFloat, 4, 1, 4, 2, 16, 0},            // a float of 16 bits
        {44100, kLinear, kFloat | kSigned, 8, 1, 8, 2, 32, 0},  // both
        {44100, kLinear, kSigned, 4, 1, 4, 2, 12, 0},           // 12 bits
        {44100, kLinear, kSigned, 0, 1, 0, 0, 16, 0},           // no channels
        {44100, kLinear, kSigned, 130, 1, 130, 65, 16, 0},      // too many
        {44100, kLinear, kSigned, 0, 1, 0, 1U << 31, 16, 0},    // so many that their bytes are 0 again
        {44100, kLinear, kSigned, 4, 1, 2, 2, 16, 0},           // frames of another size
        {44100, kLinear, kSigned, 8, 1, 4, 2, 16, 0},           // packets of another size
        {44100, kLinear, kSigned, 4, 2, 4, 2, 16, 0},           // two frames a packet
        {44100, kLinear, kSigned | kPlanar, 4, 1, 4, 2, 16, 0}, // not interleaved, of the interleaved size
        {999, kLinear, kSigned, 4, 1, 4, 2, 16, 0},             // too slow
        {768001, kLinear, kSigned, 4, 1, 4, 2, 16, 0},          // too fast
        {std::nan(""), kLinear, kSigned, 4, 1, 4, 2, 16, 0},    // neither
    };
    for (const AudioStreamBasicDescription &format : refused)
        EXPECT_FALSE(kx::isConvertible(format)) << "row " << &format - refused;
}

} // namespace
