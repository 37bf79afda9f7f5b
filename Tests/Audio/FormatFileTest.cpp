#include "KXFW/Audio/KXAudioUtil.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

using namespace kx::test;

namespace
{

bool sameBytes(const AudioStreamBasicDescription &a, const AudioStreamBasicDescription &b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

AudioStreamBasicDescription load(const std::string &text)
{
    return KXAudioUtil::loadDescription(fileOf("x.plist", {text.begin(), text.end()}));
}

TEST(DescriptionFile, EveryDescriptionComesBackAsItWas)
{
    const auto path = temporaryPath("description.plist");
    writeBytes(path, std::vector<uint8_t>(5000, 'x')); // a longer file is replaced whole
    std::mt19937 random(4);
    for (int i = 0; i < 200; ++i) {
        const auto any = [&] { return static_cast<uint32_t>(random()); };
        const AudioStreamBasicDescription description{any() / 7.0, any(), any(), any(), any(),
                                                      any(),       any(), any(), any()};
        KXAudioUtil::saveDescription(description, path);
        EXPECT_TRUE(sameBytes(KXAudioUtil::loadDescription(path), description)) << description.mSampleRate;
    }
}

TEST(DescriptionFile, ReadsTheSameToAnotherReader)
{
    const auto path = temporaryPath("description.plist");
    KXAudioUtil::saveDescription(GetStandardDescription(), path);
    const ToolResult result = runTool(
        {"python3", "-c", "import plistlib, sys; print(sorted(plistlib.load(open(sys.argv[1], 'rb')).items()))", path});
    EXPECT_EQ(result.output + result.errors,
              "[('mBitsPerChannel', 16), ('mBytesPerFrame', 4), ('mBytesPerPacket', 4), ('mChannelsPerFrame', 2), "
              "('mFormatFlags', 14), ('mFormatID', 1819304813), ('mFramesPerPacket', 1), ('mReserved', 0), "
              "('mSampleRate', 44100.0)]\n");
    const auto other = temporaryPath("other.plist");
    EXPECT_EQ(runTool({"python3", "-c",
                       "import plistlib, sys; d = plistlib.load(open(sys.argv[1], 'rb')); "
                       "plistlib.dump({k: float(v) for k, v in d.items()} | {'note': ['x']}, open(sys.argv[2], 'wb'))",
                       path, other})
                  .errors,
              "");
    EXPECT_TRUE(sameBytes(KXAudioUtil::loadDescription(other), GetStandardDescription())) << "integers as reals";
}

TEST(DescriptionFile, WhatIsMissingOrNoNumberIsZero)
{
    const AudioStreamBasicDescription none{};
    EXPECT_TRUE(sameBytes(KXAudioUtil::loadDescription(temporaryPath("missing")), none));
    EXPECT_TRUE(sameBytes(load("<plist><dict><key>mSampleRate</key><real>48000"), none));
    EXPECT_TRUE(sameBytes(load("<dict><key>mSampleRate</key><real>nan</real><key>mFormatID</key><string>lpcm</string>"
                               "<key>mReserved</key><integer>-1</integer></dict>"),
                          none));
    EXPECT_TRUE(sameBytes(load("<dict><key>mSampleRate</key><integer>48000</integer><key>m</key><true/></dict>"),
                          {48000, 0, 0, 0, 0, 0, 0, 0, 0}));
    KXAudioUtil::saveDescription(none, "/nowhere/at/all"); // returns as if it had written
}

} // namespace
