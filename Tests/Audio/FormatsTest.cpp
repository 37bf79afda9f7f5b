#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr FourCharCode kLinear = kAudioFormatLinearPCM;

/// Compares all nine fields.
void expectSame(const AudioStreamBasicDescription &a, const AudioStreamBasicDescription &b, const std::string &what)
{
    const auto text = [](const auto &format) { return kx::propertyListText(*KXAudioUtil::dictionaryFromASBD(format)); };
    EXPECT_EQ(text(a), text(b)) << what;
}

AudioStreamBasicDescription linear(uint32_t flags, uint32_t bytes, uint32_t channels, uint32_t bits)
{
    return {48000, kLinear, flags, bytes, 1, bytes, channels, bits, 7};
}

struct DerivedCase {
    AudioStreamBasicDescription description;
    AudioStreamBasicDescription internal;
    AudioStreamBasicDescription planar;
};

TEST(Formats, InternalOnesAreDerivedBySampleSize)
{
    const AudioStreamBasicDescription mp3{8000, kAudioFormatMPEGLayer3, 3, 0, 1152, 0, 5, 24, 9};
    const std::vector<DerivedCase> cases{
        {linear(14, 8, 2, 24), linear(9, 8, 2, 32), linear(41, 4, 2, 32)},        // 24 bits become 32
        {linear(14 | 48, 3, 6, 24), linear(57, 24, 6, 32), linear(57, 4, 6, 32)}, // other flags are carried over
        {linear(7, 2, 2, 8), linear(8, 2, 2, 8), linear(40, 1, 2, 8)},
        {linear(2, 4, 2, 16), linear(12, 4, 2, 16), linear(44, 2, 2, 16)},
        {linear(1, 4, 2, 16), linear(13, 4, 2, 16), linear(45, 2, 2, 16)}, // a float flag stays
        {linear(6, 4, 1, 32), linear(9, 4, 1, 32), linear(41, 4, 1, 32)},
        {linear(7, 5, 2, 20), linear(13, 5, 2, 20), linear(45, 2, 2, 20)}, // odd sizes keep their kind
        {linear(0, 0, 0, 0), linear(8, 0, 0, 0), linear(40, 0, 0, 0)},
        {mp3, {44100, kLinear, 12, 4, 1, 4, 2, 16, 0}, {44100, kLinear, 44, 2, 1, 2, 2, 16, 0}},
    };
    for (const DerivedCase &c : cases) {
        const std::string what = "bits " + std::to_string(c.description.mBitsPerChannel);
        expectSame(KXAudioUtil::internalDescriptionWithDescription(c.description), c.internal, what);
        expectSame(KXAudioUtil::internalASBDWithASBD2(c.description), c.planar, what);
    }
    AudioStreamBasicDescription file = linear(45, 4, 3, 20);
    file.mFramesPerPacket = 5;
    expectSame(KXAudioUtil::fileASBDWithInternalASBD2(file), linear(13, 6, 3, 20), "divided before it is multiplied");
}

struct FlagCase {
    uint32_t bits;
    uint32_t internal;
    uint32_t aiff;
    uint32_t wave;
};

TEST(Formats, StoredOnesFollowTheFileType)
{
    for (const FlagCase &c : {FlagCase{8, 8, 14, 8}, FlagCase{16, 12, 14, 12}, FlagCase{24, 12, 14, 12},
                              FlagCase{32, 9, 14, 9}, FlagCase{20, 8, 10, 8}, FlagCase{64, 8, 10, 8}}) {
        const uint32_t bytes = c.bits / 8 * 3;
        const auto expected = [&](uint32_t flags) {
            return AudioStreamBasicDescription{96000, kLinear, flags, bytes, 1, bytes, 3, c.bits, 0};
        };
        const std::string what = std::to_string(c.bits);
        expectSame(KXAudioUtil::internalDescriptionFromSampleRate(96000, 3, c.bits), expected(c.internal), what);
        expectSame(KXAudioUtil::saveDescriptionFromSampleRate(96000, 3, c.bits, kAudioFileAIFFType), expected(c.aiff),
                   what);
        for (const AudioFileTypeID type : {kAudioFileWAVEType, 0u})
            expectSame(KXAudioUtil::saveDescriptionFromSampleRate(96000, 3, c.bits, type), expected(c.wave), what);
    }
    expectSame(KXAudioUtil::AUCanonicalASBDWithSampleRate(8000, 3), {8000, kLinear, 41, 4, 1, 4, 3, 32, 0},
               "canonical");
    AudioStreamBasicDescription standard;
    SetStandardDescription(&standard);
    expectSame(standard, {44100, kLinear, 14, 4, 1, 4, 2, 16, 0}, "standard");
    EXPECT_EQ(KXAudioUtil::BPFofASBD(linear(9, 99, 3, 32)), 99u);
    EXPECT_EQ(KXAudioUtil::BPFofASBD(linear(41, 99, 3, 20)), 7u) << "multiplied before it is divided";
}

TEST(Formats, EqualOnesMayDifferInBytesAndReserved)
{
    using Format = AudioStreamBasicDescription;
    const auto equalWithout = [](auto member) {
        Format other = GetStandardDescription();
        other.*member += 1;
        return EqualASBDs(GetStandardDescription(), other);
    };
    for (const auto member : {&Format::mBytesPerPacket, &Format::mBytesPerFrame, &Format::mReserved})
        EXPECT_TRUE(equalWithout(member));
    for (const auto member : {&Format::mFormatID, &Format::mFormatFlags, &Format::mFramesPerPacket,
                              &Format::mChannelsPerFrame, &Format::mBitsPerChannel})
        EXPECT_FALSE(equalWithout(member));
    EXPECT_FALSE(equalWithout(&Format::mSampleRate));
    EXPECT_FALSE(EqualASBDs({kNaN, 0, 0, 0, 0, 0, 0, 0, 0}, {kNaN, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(Formats, TheAcceptedOnesHaveUsualRatesChannelsAndBits)
{
    const auto accepted = [](double rate, uint32_t channels, uint32_t bits) {
        return KXAudioUtil::isInvalidFormat({rate, 0, ~0u, 0, 0, 0, channels, bits, 0});
    };
    for (const double rate : {8000.0, 11025.0, 22050.0, 32000.0, 44100.0, 48000.0, 96000.0}) {
        for (const double off : {-1.0, 0.0, 0.5, 1.0})
            EXPECT_TRUE(accepted(rate + off, 2, 16)) << rate + off;
        for (const double off : {-1.0, 1.0})
            EXPECT_FALSE(accepted(std::nextafter(rate + off, off * kInfinity), 2, 16)) << rate << ' ' << off;
    }
    for (const double rate : {0.0, 16000.0, 88200.0, 192000.0, -44100.0, kNaN, kInfinity})
        EXPECT_FALSE(accepted(rate, 2, 16)) << rate;
    for (uint32_t n = 0; n < 70; ++n) {
        EXPECT_EQ(accepted(44100, n, 24), n == 1 || n == 2) << n;
        EXPECT_EQ(accepted(44100, 1, n), n == 8 || n == 16 || n == 24 || n == 32) << n;
    }
}

AudioStreamBasicDescription sized(double rate, uint32_t frameBytes, uint32_t packetFrames = 1)
{
    return {rate, kLinear, 12, frameBytes * packetFrames, packetFrames, frameBytes, 2, 16, 0};
}

TEST(ByteCounts, WholeFramesAreScaledByTheRates)
{
    EXPECT_EQ(KXAudioUtil::bytesAfterConversion(4410, sized(44100, 4), sized(22050, 4)), 2204u);
    EXPECT_EQ(KXAudioUtil::bytesAfterConversionForPackets(3, sized(44100, 0, 1152), sized(44100, 4)), 13824u);
    EXPECT_EQ(KXAudioUtil::bytesAfterConversion(0x80000000, sized(8000, 1), sized(8000, 4)), 0u) << "32-bit product";
    EXPECT_EQ(KXAudioUtil::bytesAfterConversion(UINT32_MAX, sized(8000, 1), sized(96000, 1)), UINT32_MAX);
    std::mt19937 random(3);
    const auto any = [&](uint32_t most) { return std::uniform_int_distribution<uint32_t>(1, most)(random); };
    for (int i = 0; i < 20000; ++i) {
        const auto in = sized(any(192000), any(32));
        const auto out = sized(any(192000), any(32));
        const uint32_t bytes = any(50000000);
        const uint32_t frames = bytes / in.mBytesPerFrame;
        const auto exact = std::floor(static_cast<long double>(frames) * out.mBytesPerFrame * out.mSampleRate /
                                      static_cast<long double>(in.mSampleRate));
        if (uint64_t{frames} * out.mBytesPerFrame > UINT32_MAX || exact > UINT32_MAX)
            continue;
        const uint32_t after = KXAudioUtil::bytesAfterConversion(bytes, in, out);
        ASSERT_NEAR(after, static_cast<double>(exact), 1)
            << bytes << " bytes, " << in.mBytesPerFrame << " at " << in.mSampleRate << " to " << out.mBytesPerFrame
            << " at " << out.mSampleRate;
        ASSERT_EQ(after, KXAudioUtil::bytesAfterConversionForPackets(frames, in, out));
        ASSERT_EQ(after, KXAudioUtil::bytesBeforeConversion(bytes, out, in));
        const auto same = sized(in.mSampleRate, out.mBytesPerFrame);
        ASSERT_EQ(KXAudioUtil::bytesBeforeConversion(KXAudioUtil::bytesAfterConversion(bytes, in, same), in, same),
                  frames * in.mBytesPerFrame);
    }
}

TEST(ByteCounts, OutsideTheirDomainTheyAreZero)
{
    const auto good = sized(44100, 4);
    for (const double rate : {0.0, -0.0, -44100.0, kNaN, kInfinity, -kInfinity})
        for (const auto &[in, out] : {std::pair(good, sized(rate, 4)), std::pair(sized(rate, 4), good)}) {
            EXPECT_EQ(KXAudioUtil::bytesAfterConversion(4096, in, out), 0u) << rate;
            EXPECT_EQ(KXAudioUtil::bytesBeforeConversion(4096, in, out), 0u) << rate;
            EXPECT_EQ(KXAudioUtil::bytesAfterConversionForPackets(1, in, out), 0u) << rate;
        }
    EXPECT_EQ(KXAudioUtil::bytesAfterConversion(4096, sized(44100, 0), good), 0u);
    EXPECT_EQ(KXAudioUtil::bytesBeforeConversion(4096, good, sized(44100, 0)), 0u);
    EXPECT_EQ(KXAudioUtil::bytesAfterConversion(4096, sized(1e-300, 4), sized(1e300, 4)), UINT32_MAX);
    EXPECT_EQ(KXAudioUtil::bytesAfterConversion(3, sized(1e-300, 4), sized(1e300, 4)), 0u) << "no whole frame";
}

TEST(Levels, AndDecibelsAreInverse)
{
    EXPECT_EQ(KXAudioUtil::dBFromLevel(1.0), 0.0);
    EXPECT_EQ(KXAudioUtil::dBFromLevel(0.5), -6.0206001996994019) << "20 times a 32-bit logarithm";
    EXPECT_EQ(KXAudioUtil::dBFromLevel(1.0 + 1e-9), 0.0) << "of a 32-bit level";
    EXPECT_EQ(KXAudioUtil::dBFromLevel(0.0), -kInfinity);
    EXPECT_TRUE(std::isnan(KXAudioUtil::dBFromLevel(-1.0)));
    EXPECT_EQ(KXAudioUtil::levelFromDB(-20.0), 0.1);
    EXPECT_EQ(KXAudioUtil::levelFromDB(-kInfinity), 0.0);
    EXPECT_NEAR(KXAudioUtil::dBFromLevel(1e-39), -780.0, 1e-3) << "the smallest numbers are no zeros";
    EXPECT_GT(KXAudioUtil::levelFromDB(-6200.0), 0.0);
    for (int i = -1200; i < 240; ++i)
        EXPECT_NEAR(KXAudioUtil::dBFromLevel(KXAudioUtil::levelFromDB(i / 10.0)), i / 10.0, 2e-5);
}

} // namespace
