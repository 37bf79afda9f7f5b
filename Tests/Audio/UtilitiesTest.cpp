// The helpers of formats, levels, memory and reports, and the questions about devices.
#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Audio/KXRingBuffer.h"
#include "KXFW/Platform/Foundation/BufferList.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Foundation/NSNotificationCenter.h"
#include "KXFW/Platform/Foundation/StringTable.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/ScopedVirtualHardware.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <sys/resource.h>
#include <tuple>
#include <unistd.h>

using namespace kx::test;
using Util = KXAudioUtil;

namespace
{

using Format = AudioStreamBasicDescription;
using Lines = std::vector<std::string>;
using Manager = KXAHardwareManager;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr FourCharCode kLinear = kAudioFormatLinearPCM;

/// All nine fields.
std::string text(const Format &format)
{
    return kx::propertyListText(*Util::dictionaryFromASBD(format));
}

Format linear(uint32_t flags, uint32_t bytes, uint32_t channels, uint32_t bits)
{
    return {48000, kLinear, flags, bytes, 1, bytes, channels, bits, 7};
}

TEST(Formats, AreDerivedBySampleSizeAndFileType)
{
    for (const auto &[description, internal, planar] : {
             std::tuple(linear(14 | 48, 3, 6, 24), linear(57, 24, 6, 32), linear(57, 4, 6, 32)), // 24 bits become 32
             {linear(7, 2, 2, 8), linear(8, 2, 2, 8), linear(40, 1, 2, 8)},
             {linear(1, 4, 2, 16), linear(13, 4, 2, 16), linear(45, 2, 2, 16)}, // a float flag stays
             {linear(6, 4, 1, 32), linear(9, 4, 1, 32), linear(41, 4, 1, 32)},
             {linear(7, 5, 2, 20), linear(13, 5, 2, 20), linear(45, 2, 2, 20)}, // odd sizes keep their kind
             {Format{8000, kAudioFormatMPEGLayer3, 3, 0, 1152, 0, 5, 24, 9},
              Format{44100, kLinear, 12, 4, 1, 4, 2, 16, 0}, Format{44100, kLinear, 44, 2, 1, 2, 2, 16, 0}},
         }) {
        EXPECT_EQ(text(Util::internalDescriptionWithDescription(description)), text(internal));
        EXPECT_EQ(text(Util::internalASBDWithASBD2(description)), text(planar));
    }
    EXPECT_EQ(text(Util::fileASBDWithInternalASBD2({48000, kLinear, 45, 4, 5, 4, 3, 20, 7})),
              text(linear(13, 6, 3, 20)))
        << "divided before it is multiplied";
    EXPECT_EQ(Util::BPFofASBD(linear(41, 99, 3, 20)), 7u) << "multiplied before it is divided";
    for (const auto &[bits, wave, aiff] :
         {std::tuple(8u, 8u, 14u), {16, 12, 14}, {24, 12, 14}, {32, 9, 14}, {20, 8, 10}}) {
        EXPECT_EQ(Util::saveDescriptionFromSampleRate(96000, 3, bits, kAudioFileAIFFType).mFormatFlags, aiff) << bits;
        EXPECT_EQ(Util::saveDescriptionFromSampleRate(96000, 3, bits, kAudioFileWAVEType).mFormatFlags, wave) << bits;
    }
}

TEST(Formats, EqualOnesMayDifferInBytesAndTheAcceptedOnesHaveUsualRatesChannelsAndBits)
{
    const Format standard = GetStandardDescription();
    Format other = standard;
    other.mBytesPerPacket = other.mBytesPerFrame = other.mReserved = 99;
    EXPECT_TRUE(EqualASBDs(standard, other));
    for (const auto field : {&Format::mFormatID, &Format::mFormatFlags, &Format::mFramesPerPacket,
                             &Format::mChannelsPerFrame, &Format::mBitsPerChannel}) {
        other = standard;
        other.*field += 1;
        EXPECT_FALSE(EqualASBDs(standard, other)) << text(other);
    }
    const auto accepted = [](double rate, uint32_t channels, uint32_t bits) {
        return Util::isInvalidFormat({rate, 0, ~0u, 0, 0, 0, channels, bits, 0});
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
    const auto format = [](double rate, uint32_t frame) { return Format{rate, kLinear, 12, 0, 1, frame, 2, 16, 0}; };
    for (const auto &[bytes, in, out, after] : {std::tuple(4411U, format(44100, 2), format(96000, 6), 28800U),
                                                {0x80000000, format(8000, 1), format(8000, 4), 0}, // a 32-bit product
                                                {UINT32_MAX, format(8000, 1), format(96000, 1), UINT32_MAX},
                                                {4096, format(44100, 0), format(44100, 4), 0},
                                                {4096, format(-44100, 4), format(44100, 4), 0},
                                                {4096, format(44100, 4), format(kNaN, 4), 0},
                                                {4096, format(44100, 4), format(kInfinity, 4), 0}}) {
        EXPECT_EQ(Util::bytesAfterConversion(bytes, in, out), after) << bytes << text(in);
        EXPECT_EQ(Util::bytesBeforeConversion(bytes, out, in), after) << bytes << text(in);
    }
    const Format packets{44100, kAudioFormatMPEGLayer3, 0, 0, 1152, 0, 2, 0, 0};
    EXPECT_EQ(Util::bytesAfterConversionForPackets(3, packets, GetStandardDescription()), 13824u);
}

TEST(Levels, AndDecibelsAreInverse)
{
    EXPECT_EQ(Util::dBFromLevel(0.5), -6.0206001996994019) << "20 times a 32-bit logarithm";
    EXPECT_NEAR(Util::dBFromLevel(1e-39), -780.0, 1e-3) << "the smallest numbers are no zeros";
    EXPECT_EQ(Util::levelFromDB(-20.0), 0.1);
}

TEST(DescriptionFile, ComesBackAsItWas)
{
    const auto path = temporaryPath("description.plist");
    writeBytes(path, std::vector<uint8_t>(5000, 'x')); // a longer file is replaced whole
    const Format saved{44100.5, kLinear, 3, 4, 5, 6, 7, 8, 4000000000};
    Util::saveDescription(saved, path);
    EXPECT_EQ(text(Util::loadDescription(path)), text(saved));
    EXPECT_EQ(text(Util::loadDescription(path / "missing")), text({}));
    Util::saveDescription(saved, "/nowhere/at/all"); // returns as if it had written
}

#ifndef KX_SANITIZED // a sanitizer ends the program where malloc would give null
/// In a process of its own, which has `room` bytes more: ends with status 0 if `given` bytes are had of 1100 MiB.
[[noreturn]] void growTo(uint64_t given, uint64_t room)
{
    std::ifstream statistics("/proc/self/statm");
    uint64_t pages = 0;
    statistics >> pages;
    const rlimit limit{pages * 4096 + room, pages * 4096 + room};
    setrlimit(RLIMIT_AS, &limit);
    uint64_t size = uint64_t{1100} << 20;
    const bool isHad = mul_malloc(&size) != nullptr;
    const uint64_t off = size > given ? size - given : given - size;
    _exit(off < 256 && isHad == (given > 0) ? 0 : 1); // a factor is not exact
}

TEST(GrowingMalloc, StepsDownToWhatCanBeHad)
{
    constexpr uint64_t kMiB = 1 << 20;
    for (const uint64_t given : {2200 * kMiB, 1650 * kMiB, 1320 * kMiB, 1100 * kMiB, 0 * kMiB})
        EXPECT_EXIT(growTo(given, std::max(given, 64 * kMiB) + 16 * kMiB), testing::ExitedWithCode(0), "");
    for (uint64_t size : {uint64_t{1} << 62, uint64_t{1} << 63, UINT64_MAX}) {
        EXPECT_EQ(mul_malloc(&size), nullptr);
        EXPECT_EQ(size, 0U);
    }
}
#endif

TEST(Memory, IsInvertedInWholeWordsAndCopiedAsItIs)
{
    for (const int64_t length : {-5, 3, 4, 7, 19}) {
        std::vector<uint8_t> bytes(24, 0x5A);
        auto expected = bytes;
        std::fill_n(expected.begin() + 1, std::max<int64_t>(length / 4 * 4, 0), 0xA5);
        invertBits(bytes.data() + 1, length); // at an odd address
        EXPECT_EQ(bytes, expected) << length;
    }
    kx::BufferList source(2, 2, 40);
    source.get()->mBuffers[1].mDataByteSize = 0;
    kx::BufferList room(2, 0, 0);
    std::memset(source.data(0), 7, 40);
    Util::CopyABL(room.get(), source.get());
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
    Util::makeTestFile(folder);
    std::vector<int32_t> ramp;
    for (int32_t value = -32768; value < 32768; ++value)
        ramp.insert(ramp.end(), 2, value);
    EXPECT_TRUE(readBytes(folder / "linear_dont_play.wav") == waveBytes(44100, 2, 16, ramp));
    EXPECT_THROW(Util::makeTestFile("/nowhere"), NSException);
}

struct Named {
    [[nodiscard]] std::string description() const { return "a %@ \"name\""; }
};

TEST(IndentedLog, OpensAndClosesLevelsAtAnyDepth)
{
    testing::internal::CaptureStdout();
    for (const auto &[line, level] :
         {std::pair("open", 1), {"in %s", 0}, {"again", 1}, {"deep", 0}, {"back", -1}, {"close", -1}, {"below", -1}})
        Util::log(nullptr, line, static_cast<int8_t>(level));
    Util::log(std::shared_ptr<Named>(), "", +1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "open\n\t\tin %s\n\t\tagain\n\t\t\t\tdeep\n\t\tback\nclose\nbelow\n\n");
    testing::internal::CaptureStdout();
    for (int i = 0; i < 400; ++i)
        Util::log(nullptr, "x", i < 200 ? +1 : -1);
    const std::string deep = testing::internal::GetCapturedStdout();
    EXPECT_EQ(deep.find(std::string(256, '\t')), std::string::npos);
    EXPECT_TRUE(deep.ends_with("\nx\n"));
    const KXRingBuffer ring(8);
    CapturedLog log;
    Util::log(std::make_shared<Named>(), "text %@", +1);
    Util::log(&ring, "ring", -1);
    EXPECT_EQ(log.messages(), (Lines{"a %@ \"name\"; text %@", ring.description() + "; ring"}));
}

TEST(Dumps, AreTheRecordedLines)
{
    CapturedLog log;
    Util::DumpASBD({-1e20, 0xA, 0xFFFFFFF1, 1, 2, 3, 4, 0x80000000, 6});
    Util::DumpFourCharCode(kx::fourCharCode("fmt?"));
    EXPECT_EQ(log.messages(),
              (Lines{"sampleRate:-100000000000000000000.000000", "formatID:a", "formatFlag:-15", "bytesPerPacket:1",
                     "framesPerPacket:2", "bytesPerFrame:3", "channelsPerFrame:4", "bitsPerChannel:-2147483648",
                     "reserved:6", "is float", "is not big endian", "is not signed integer", "is not packed",
                     "is aligned high", "is noninterleaved", "err:?tmf"}));
}

/// Hidden functions have their names too.
[[gnu::noinline]] void descend(int times, uint64_t depth) // NOLINT(misc-no-recursion)
{
    times > 0 ? descend(times - 1, depth) : call_stack(depth);
    asm volatile(""); // not the last call, so that this function stays on the stack
}

TEST(CallStack, ShowsTheInnermostCallsWithTheirNames)
{
    volatile int times = 3000; // a constant would make the compiler clone the function, under names of its own
    for (volatile const uint64_t depth : {uint64_t{3}, UINT64_MAX}) {
        CapturedLog log;
        descend(times, depth);
        const Lines lines = log.messages();
        ASSERT_GE(lines.size(), 5u);
        EXPECT_EQ(lines.size() == 5, depth == 3);
        EXPECT_TRUE(lines[1].starts_with("    \"0 ")) << lines[1];
        EXPECT_NE(lines[1].find(" kx_call_stack + "), std::string::npos) << lines[1];
        const std::string name = " (anonymous namespace)::descend(int, unsigned long) + ";
        EXPECT_GE(std::ranges::count_if(lines, [&](auto &line) { return line.find(name) != std::string::npos; }),
                  depth == 3 ? 1 : times);
    }
}

TEST(Alert, LooksItsTextsUp)
{
    kx::StringTable::main().setTexts("de", {{"Failed to read a file.", "Datei nicht lesbar."}});
    kx::StringTable::setPreferredLanguages({"de_DE"});
    const auto alert = Util::alertWithMessage("Failed to read a file.", "Check whether the file is not broken");
    kx::StringTable::main().setTexts("de", {});
    EXPECT_EQ(alert->messageText(), "Datei nicht lesbar.");
    EXPECT_EQ(alert->informativeText(), "Check whether the file is not broken");
}

TEST(HardwareManager, AnswersAboutTheDevicesThatArePresent)
{
    const ScopedVirtualHardware system(kx::VirtualClock::Manual,
                                       {{"Speaker"}, {"Twin"}, {"Mic", 48000, 1, 16, true, false}});
    system->setDefaultInput("Mic");
    ASSERT_EQ(Manager::numberOfDevices(), 3);
    const std::unique_ptr<AudioObjectID, void (*)(void *)> ids(Manager::deviceIDs(), std::free);
    ASSERT_EQ(ids.get()[3], 0U) << "the list ends with a 0";
    const AudioObjectID microphone = ids.get()[2];
    EXPECT_EQ(Manager::deviceIDNamed("Mic"), microphone);
    EXPECT_EQ(Manager::defaultInputDeviceID(), microphone);
    EXPECT_EQ(Manager::nameOfDeviceID(Manager::defaultOutputDeviceID()), "Speaker");
    EXPECT_EQ(Manager::deviceIDNamed("speaker"), 0U) << "letter case counts";
    EXPECT_EQ(Manager::nameOfDeviceID(4711), "");
    EXPECT_TRUE(Manager::deviceIDIsAlive(microphone));
    system->setDevices({});
    EXPECT_FALSE(Manager::deviceIDIsAlive(microphone) || Manager::deviceIDIsAlive(0));
    EXPECT_EQ(Manager::defaultOutputDeviceID(), 0U);
}

TEST(HardwareManager, ClearsItsFlagsAndPostsOneNotification)
{
    int posted = 0;
    auto &center = NSNotificationCenter::defaultCenter();
    const auto token = center.addObserver("HardwarePropertyChanged", [&](const std::string &) { ++posted; });
    std::ranges::copy(std::array<int8_t, 4>{1, 0, 2, 1}, gHardwarePropertyFlags);
    Manager().parseUpdatedProperty();
    center.removeObserver(token);
    EXPECT_EQ(posted, 1);
    EXPECT_TRUE(std::ranges::equal(gHardwarePropertyFlags, std::array<int8_t, 4>{0, 0, 2, 0}));
}

} // namespace
