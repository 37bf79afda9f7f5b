#include "KXFW/Audio/KXAudioUtil.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <random>

using namespace kx::test;

namespace
{

bool areSame(const AudioStreamBasicDescription &a, const AudioStreamBasicDescription &b)
{
    return *KXAudioUtil::dictionaryFromASBD(a) == *KXAudioUtil::dictionaryFromASBD(b);
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
        EXPECT_TRUE(areSame(KXAudioUtil::loadDescription(path), description)) << description.mSampleRate;
        EXPECT_EQ(kx::readPropertyList(path), *KXAudioUtil::dictionaryFromASBD(description));
    }
}

TEST(DescriptionFile, ReadsTheSameToAnotherReader)
{
    const auto path = temporaryPath("description.plist");
    const AudioStreamBasicDescription saved{44100, kAudioFormatLinearPCM, 3, 4, 5, 6, 7, 8, 4000000000};
    KXAudioUtil::saveDescription(saved, path);
    const ToolResult result = runTool(
        {"python3", "-c", "import plistlib, sys; print(sorted(plistlib.load(open(sys.argv[1], 'rb')).items()))", path});
    EXPECT_EQ(result.output + result.errors,
              "[('mBitsPerChannel', 8), ('mBytesPerFrame', 6), ('mBytesPerPacket', 4), ('mChannelsPerFrame', 7), "
              "('mFormatFlags', 3), ('mFormatID', 1819304813), ('mFramesPerPacket', 5), ('mReserved', 4000000000), "
              "('mSampleRate', 44100.0)]\n");
    const auto other = temporaryPath("other.plist");
    const std::string rewrite = "import plistlib, sys; d = plistlib.load(open(sys.argv[1], 'rb')); plistlib.dump("
                                "{k: float(v) for k, v in d.items()} | {'note': ['x']}, open(sys.argv[2], 'wb'))";
    EXPECT_EQ(runTool({"python3", "-c", rewrite, path, other}).errors, "");
    EXPECT_TRUE(areSame(KXAudioUtil::loadDescription(other), saved)) << "integers as reals";
}

TEST(DescriptionFile, WhatIsMissingOrNoNumberIsZero)
{
    const AudioStreamBasicDescription none{};
    EXPECT_TRUE(areSame(KXAudioUtil::loadDescription(temporaryPath("missing")), none));
    EXPECT_TRUE(areSame(load("<plist><dict><key>mSampleRate</key><real>48000"), none)) << "cut short";
    EXPECT_TRUE(areSame(load("<dict><key>mSampleRate</key><integer>48000</integer><key>m</key><true/>"
                             "<key>mFormatID</key><string>lpcm</string><key>mReserved</key><integer>-1</integer>"
                             "<key>mFormatFlags</key><real>1e300</real></dict>"),
                        {48000, 0, 0, 0, 0, 0, 0, 0, 0}));
    KXAudioUtil::saveDescription(none, "/nowhere/at/all"); // returns as if it had written
}

} // namespace
