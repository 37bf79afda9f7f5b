#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Platform/Foundation/BufferList.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <sys/resource.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

using namespace kx::test;

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
             Row{linear(14 | 48, 3, 6, 24), linear(57, 24, 6, 32), linear(57, 4, 6, 32)}, // 24 bits become 32
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
    EXPECT_EQ(KXAudioUtil::BPFofASBD(linear(41, 99, 3, 20)), 7u) << "multiplied before it is divided";
}

TEST(Formats, StoredOnesFollowTheFileType)
{
    const auto flags = [](uint32_t bits, AudioFileTypeID type) {
        return KXAudioUtil::saveDescriptionFromSampleRate(96000, 3, bits, type).mFormatFlags;
    };
    for (const auto &[bits, wave, aiff] :
         {std::tuple(8u, 8u, 14u), {16, 12, 14}, {24, 12, 14}, {32, 9, 14}, {20, 8, 10}}) {
        EXPECT_EQ(flags(bits, kAudioFileAIFFType), aiff) << bits;
        EXPECT_EQ(flags(bits, kAudioFileWAVEType), wave) << bits;
        EXPECT_EQ(KXAudioUtil::internalDescriptionFromSampleRate(96000, 3, bits).mFormatFlags, wave) << bits;
    }
}

TEST(Formats, EqualOnesMayDifferInBytesAndReserved)
{
    Format other = GetStandardDescription();
    other.mBytesPerPacket = other.mBytesPerFrame = other.mReserved = 99;
    EXPECT_TRUE(EqualASBDs(GetStandardDescription(), other));
    for (const auto field : {&Format::mFormatID, &Format::mFormatFlags, &Format::mFramesPerPacket,
                             &Format::mChannelsPerFrame, &Format::mBitsPerChannel}) {
        other = GetStandardDescription();
        other.*field += 1;
        EXPECT_FALSE(EqualASBDs(GetStandardDescription(), other)) << text(other);
    }
}

TEST(Formats, TheAcceptedOnesHaveUsualRatesChannelsAndBits)
{
    const auto accepted = [](double rate, uint32_t channels, uint32_t bits) {
        return KXAudioUtil::isInvalidFormat({rate, 0, ~0u, 0, 0, 0, channels, bits, 0});
    };
    for (const double rate : {8000.0, 11025.0, 22050.0, 32000.0, 44100.0, 48000.0, 96000.0})
        for (const double off : {-1.0, 1.0}) {
            EXPECT_TRUE(accepted(rate + off, 1, 24)) << rate + off;
            EXPECT_FALSE(accepted(std::nextafter(rate + off, off * kInfinity), 1, 24)) << rate << ' ' << off;
        }
    EXPECT_FALSE(accepted(44100, 3, 16) || accepted(44100, 0, 16) || accepted(44100, 2, 12) || accepted(kNaN, 2, 16));
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
    for (const Row &row : {Row{4411, 44100, 2, 96000, 6, 28800},
                           {0x80000000, 8000, 1, 8000, 4, 0}, // a 32-bit product
                           {UINT32_MAX, 8000, 1, 96000, 1, UINT32_MAX},
                           {4096, 44100, 0, 44100, 4, 0},
                           {4096, -44100, 4, 44100, 4, 0},
                           {4096, 44100, 4, kNaN, 4, 0},
                           {4096, 44100, 4, kInfinity, 4, 0}}) {
        const Format in{row.inRate, kLinear, 12, 0, 1, row.inFrame, 2, 16, 0};
        const Format out{row.outRate, kLinear, 12, 0, 1, row.outFrame, 2, 16, 0};
        EXPECT_EQ(KXAudioUtil::bytesAfterConversion(row.bytes, in, out), row.after) << row.bytes << text(in);
        EXPECT_EQ(KXAudioUtil::bytesBeforeConversion(row.bytes, out, in), row.after) << row.bytes << text(in);
    }
    const Format packets{44100, kAudioFormatMPEGLayer3, 0, 0, 1152, 0, 2, 0, 0};
    EXPECT_EQ(KXAudioUtil::bytesAfterConversionForPackets(3, packets, GetStandardDescription()), 13824u);
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
    const auto path = temporaryPath("description.plist");
    writeBytes(path, std::vector<uint8_t>(5000, 'x')); // a longer file is replaced whole
    const Format saved{44100.5, kLinear, 3, 4, 5, 6, 7, 8, 4000000000};
    KXAudioUtil::saveDescription(saved, path);
    EXPECT_EQ(text(KXAudioUtil::loadDescription(path)), text(saved));
    const char *const script = "import plistlib, sys; print(sorted(plistlib.load(open(sys.argv[1], 'rb')).items()))";
    EXPECT_EQ(runTool({"python3", "-c", script, path}).output,
              "[('mBitsPerChannel', 8), ('mBytesPerFrame', 6), ('mBytesPerPacket', 4), ('mChannelsPerFrame', 7), "
              "('mFormatFlags', 3), ('mFormatID', 1819304813), ('mFramesPerPacket', 5), ('mReserved', 4000000000), "
              "('mSampleRate', 44100.5)]\n");
    EXPECT_EQ(text(KXAudioUtil::loadDescription(path / "missing")), text({}));
    KXAudioUtil::saveDescription(saved, "/nowhere/at/all"); // returns as if it had written
}

#ifndef KX_SANITIZED // a sanitizer ends the program where malloc would give null
/// In a process of its own, which has room for `room` bytes more.
bool growsTo(uint64_t given, uint64_t asked, uint64_t room)
{
    const pid_t child = fork();
    if (child == 0) {
        std::ifstream statistics("/proc/self/statm");
        uint64_t pages = 0;
        statistics >> pages;
        const rlimit limit{pages * 4096 + room, pages * 4096 + room};
        setrlimit(RLIMIT_AS, &limit);
        uint64_t size = asked;
        void *block = mul_malloc(&size);
        const uint64_t off = size > given ? size - given : given - size;
        _exit(off < 256 && (block != nullptr) == (given > 0) ? 0 : 1); // a factor is not exact
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status == 0;
}

TEST(GrowingMalloc, StepsDownToWhatCanBeHad)
{
    constexpr uint64_t kMiB = 1 << 20;
    for (const uint64_t given : {2200 * kMiB, 1650 * kMiB, 1320 * kMiB, 1100 * kMiB, 0 * kMiB})
        EXPECT_TRUE(growsTo(given, 1100 * kMiB, std::max(given, 64 * kMiB) + 16 * kMiB)) << given;
    for (const uint64_t asked : {uint64_t{1} << 62, uint64_t{1} << 63, UINT64_MAX})
        EXPECT_TRUE(growsTo(0, asked, 64 * kMiB)) << asked;
}
#endif

TEST(Bits, OfWholeWordsAreInverted)
{
    for (int64_t length = -5; length < 20; ++length) {
        std::vector<uint8_t> bytes(24, 0x5A);
        auto expected = bytes;
        std::fill_n(expected.begin() + 1, std::max<int64_t>(length / 4 * 4, 0), 0xA5);
        invertBits(bytes.data() + 1, length); // at an odd address
        EXPECT_EQ(bytes, expected) << length;
    }
}

TEST(BufferLists, AreCopiedWithMemoryOfTheirOwn)
{
    kx::BufferList source(2, 2, 40);
    source.get()->mBuffers[1].mDataByteSize = 0;
    kx::BufferList room(2, 0, 0);
    std::memset(source.data(0), 7, 40);
    KXAudioUtil::CopyABL(room.get(), source.get());
    for (uint32_t i = 0; i < 2; ++i) {
        const AudioBuffer &copy = room.get()->mBuffers[i];
        EXPECT_EQ(copy.mNumberChannels, 2u);
        ASSERT_EQ(copy.mDataByteSize, i == 0 ? 40u : 0u);
        ASSERT_NE(copy.mData, source.data(i));
        EXPECT_EQ(std::memcmp(copy.mData, source.data(i), copy.mDataByteSize), 0) << i;
        std::free(copy.mData);
    }
}

TEST(TestFile, HoldsEverySampleValueOnceInOrder)
{
    const auto folder = temporaryPath("tone");
    std::filesystem::create_directory(folder);
    KXAudioUtil::makeTestFile(folder);
    KXAudioUtil::makeTestFile(folder); // takes the place of the first
    std::vector<int32_t> ramp;
    for (int32_t value = -32768; value < 32768; ++value)
        ramp.insert(ramp.end(), 2, value);
    EXPECT_TRUE(readBytes(folder / "linear_dont_play.wav") == waveBytes(44100, 2, 16, ramp));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
    try {
        KXAudioUtil::makeTestFile("/nowhere");
        FAIL();
    } catch (const NSException &exception) {
        EXPECT_EQ(exception.name(), "_ASSERT_NOERR failed exception");
        EXPECT_TRUE(exception.reason().starts_with("+[KXAudioUtil makeTestFile]:")) << exception.reason();
        EXPECT_EQ(exception.userInfo().at("error").code, kAudioFileFileNotFoundError);
    }
}

} // namespace
