#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{

using Format = AudioStreamBasicDescription;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr FourCharCode kLinear = kAudioFormatLinearPCM;

/// All nine fields.
std::string text(const Format &format)
{
    return kx::propertyListText(*KXAudioUtil::dictionaryFromASBD(format));
}

Format linear(uint32_t flags, uint32_t bytes, uint32_t channels, uint32_t bits)
{
    return {48000, kLinear, flags, bytes, 1, bytes, channels, bits, 7};
}

TEST(Formats, InternalOnesAreDerivedBySampleSize)
{
    struct Row {
        Format description;
        Format internal;
        Format planar;
    };
    for (const Row &row : {
             Row{linear(14, 8, 2, 24), linear(9, 8, 2, 32), linear(41, 4, 2, 32)},        // 24 bits become 32
             Row{linear(14 | 48, 3, 6, 24), linear(57, 24, 6, 32), linear(57, 4, 6, 32)}, // other flags are kept
             Row{linear(7, 2, 2, 8), linear(8, 2, 2, 8), linear(40, 1, 2, 8)},
             Row{linear(1, 4, 2, 16), linear(13, 4, 2, 16), linear(45, 2, 2, 16)}, // a float flag stays
             Row{linear(6, 4, 1, 32), linear(9, 4, 1, 32), linear(41, 4, 1, 32)},
             Row{linear(7, 5, 2, 20), linear(13, 5, 2, 20), linear(45, 2, 2, 20)}, // odd sizes keep their kind
             Row{{8000, kAudioFormatMPEGLayer3, 3, 0, 1152, 0, 5, 24, 9},
                 {44100, kLinear, 12, 4, 1, 4, 2, 16, 0},
                 {44100, kLinear, 44, 2, 1, 2, 2, 16, 0}},
         }) {
        EXPECT_EQ(text(KXAudioUtil::internalDescriptionWithDescription(row.description)), text(row.internal));
        EXPECT_EQ(text(KXAudioUtil::internalASBDWithASBD2(row.description)), text(row.planar));
    }
    EXPECT_EQ(text(KXAudioUtil::fileASBDWithInternalASBD2({48000, kLinear, 45, 4, 5, 4, 3, 20, 7})),
              text(linear(13, 6, 3, 20)))
        << "divided before it is multiplied";
    EXPECT_EQ(KXAudioUtil::BPFofASBD(linear(9, 99, 3, 32)), 99u);
    EXPECT_EQ(KXAudioUtil::BPFofASBD(linear(41, 99, 3, 20)), 7u) << "multiplied before it is divided";
}

TEST(Formats, StoredOnesFollowTheFileType)
{
    struct Row {
        uint32_t bits;
        uint32_t internal; ///< flags
        uint32_t aiff;
    };
    for (const Row &row : {Row{8, 8, 14}, Row{16, 12, 14}, Row{24, 12, 14}, Row{32, 9, 14}, Row{20, 8, 10}}) {
        const uint32_t bytes = row.bits / 8 * 3;
        const auto expected = [&](uint32_t flags) {
            return text({96000, kLinear, flags, bytes, 1, bytes, 3, row.bits, 0});
        };
        const auto saved = [&](AudioFileTypeID type) {
            return text(KXAudioUtil::saveDescriptionFromSampleRate(96000, 3, row.bits, type));
        };
        EXPECT_EQ(text(KXAudioUtil::internalDescriptionFromSampleRate(96000, 3, row.bits)), expected(row.internal));
        EXPECT_EQ(saved(kAudioFileAIFFType), expected(row.aiff));
        EXPECT_EQ(saved(kAudioFileWAVEType), expected(row.internal));
        EXPECT_EQ(saved(0), expected(row.internal));
    }
}

TEST(Formats, EqualOnesMayDifferInBytesAndReserved)
{
    const auto equalBut = [](auto member) {
        Format other = GetStandardDescription();
        other.*member += 1;
        return EqualASBDs(GetStandardDescription(), other);
    };
    for (const auto member : {&Format::mBytesPerPacket, &Format::mBytesPerFrame, &Format::mReserved})
        EXPECT_TRUE(equalBut(member));
    for (const auto member : {&Format::mFormatID, &Format::mFormatFlags, &Format::mFramesPerPacket,
                              &Format::mChannelsPerFrame, &Format::mBitsPerChannel})
        EXPECT_FALSE(equalBut(member));
    EXPECT_FALSE(equalBut(&Format::mSampleRate));
}

TEST(Formats, TheAcceptedOnesHaveUsualRatesChannelsAndBits)
{
    const auto accepted = [](double rate, uint32_t channels, uint32_t bits) {
        return KXAudioUtil::isInvalidFormat({rate, 0, ~0u, 0, 0, 0, channels, bits, 0});
    };
    for (const double rate : {8000.0, 11025.0, 22050.0, 32000.0, 44100.0, 48000.0, 96000.0})
        for (const double off : {-1.0, 1.0}) {
            EXPECT_TRUE(accepted(rate + off, 2, 16)) << rate + off;
            EXPECT_FALSE(accepted(std::nextafter(rate + off, off * kInfinity), 2, 16)) << rate << ' ' << off;
        }
    EXPECT_FALSE(accepted(kNaN, 2, 16));
    for (uint32_t n = 0; n < 70; ++n) {
        EXPECT_EQ(accepted(44100, n, 24), n == 1 || n == 2) << n;
        EXPECT_EQ(accepted(44100, 1, n), n == 8 || n == 16 || n == 24 || n == 32) << n;
    }
}

TEST(ByteCounts, OfWholeFramesAreScaledByTheRatesAndLimited)
{
    struct Row {
        uint32_t bytes;
        double inRate;
        uint32_t inFrame; ///< bytes
        double outRate;
        uint32_t outFrame;
        uint32_t after;
    };
    const auto sized = [](double rate, uint32_t frameBytes) {
        return Format{rate, kLinear, 12, frameBytes * 1152, 1152, frameBytes, 2, 16, 0};
    };
    for (const Row &row : {Row{4410, 44100, 4, 22050, 4, 2204},
                           {4411, 44100, 2, 96000, 6, 28800},
                           {0x80000000, 8000, 1, 8000, 4, 0}, // a 32-bit product
                           {UINT32_MAX, 8000, 1, 96000, 1, UINT32_MAX},
                           {4096, 44100, 0, 44100, 4, 0},
                           {4096, 44100, 4, 0, 4, 0},
                           {4096, -44100, 4, 44100, 4, 0},
                           {4096, 44100, 4, kNaN, 4, 0},
                           {4096, 44100, 4, kInfinity, 4, 0},
                           {4096, kInfinity, 4, 44100, 4, 0},
                           {3, 1e-300, 4, 1e300, 4, 0}}) {
        SCOPED_TRACE(testing::Message() << row.bytes << " bytes at " << row.inRate << " to " << row.outRate);
        const Format in = sized(row.inRate, row.inFrame);
        const Format out = sized(row.outRate, row.outFrame);
        EXPECT_EQ(KXAudioUtil::bytesAfterConversion(row.bytes, in, out), row.after);
        EXPECT_EQ(KXAudioUtil::bytesBeforeConversion(row.bytes, out, in), row.after);
    }
    EXPECT_EQ(KXAudioUtil::bytesAfterConversionForPackets(3, sized(44100, 0), sized(22050, 4)), 6912u);
}

TEST(Levels, AndDecibelsAreInverse)
{
    EXPECT_EQ(KXAudioUtil::dBFromLevel(0.5), -6.0206001996994019) << "20 times a 32-bit logarithm";
    EXPECT_NEAR(KXAudioUtil::dBFromLevel(1e-39), -780.0, 1e-3) << "the smallest numbers are no zeros";
    EXPECT_EQ(KXAudioUtil::levelFromDB(-20.0), 0.1);
    for (int i = -1200; i < 240; ++i)
        EXPECT_NEAR(KXAudioUtil::dBFromLevel(KXAudioUtil::levelFromDB(i / 10.0)), i / 10.0, 2e-5);
}

TEST(DescriptionFile, ComesBackAsItWasAndReadsTheSameToAnotherReader)
{
    const auto path = kx::test::temporaryPath("description.plist");
    kx::test::writeBytes(path, std::vector<uint8_t>(5000, 'x')); // a longer file is replaced whole
    const Format saved{44100.5, kLinear, 3, 4, 5, 6, 7, 8, 4000000000};
    KXAudioUtil::saveDescription(saved, path);
    EXPECT_EQ(text(KXAudioUtil::loadDescription(path)), text(saved));
    const char *const script = "import plistlib, sys; print(sorted(plistlib.load(open(sys.argv[1], 'rb')).items()))";
    EXPECT_EQ(kx::test::runTool({"python3", "-c", script, path}).output,
              "[('mBitsPerChannel', 8), ('mBytesPerFrame', 6), ('mBytesPerPacket', 4), ('mChannelsPerFrame', 7), "
              "('mFormatFlags', 3), ('mFormatID', 1819304813), ('mFramesPerPacket', 5), ('mReserved', 4000000000), "
              "('mSampleRate', 44100.5)]\n");
    EXPECT_EQ(text(KXAudioUtil::loadDescription(path / "missing")), text({}));
    KXAudioUtil::saveDescription(saved, "/nowhere/at/all"); // returns as if it had written
}

} // namespace
