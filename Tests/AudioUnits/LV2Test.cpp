#include "kx/LV2.h"
#include "Tests/AudioUnits/ChainRig.h"
#include "Tests/Support/RenderGuard.h"

#include <cstdlib>
#include <filesystem>

namespace kx::test
{
namespace
{

/// With the plugins of the tests alone.
class LV2Test : public testing::Test
{
protected:
    LV2Test() { setenv("LV2_PATH", std::filesystem::relative(KX_LV2_PATH).c_str(), 1); }

    static std::string refusal(const std::string &uri)
    {
        const auto made = LV2Effect::make(uri);
        return made ? "" : made.error().reason;
    }
};

TEST_F(LV2Test, ListsThePluginsThatCanServeAndTellsWhyOthersCannot)
{
    std::vector<std::string> found;
    const auto plugins = lv2Plugins().value();
    for (const LV2Plugin &plugin : plugins)
        found.push_back(plugin.uri + ": " + plugin.name);
    EXPECT_EQ(found, (std::vector<std::string>{"urn:kxfw:mono: Another late gain", "urn:kxfw:absent: Is not there",
                                               "urn:kxfw:stereo: Late gain"}));
    const std::string prefix = "the LV2 plugin urn:kxfw:";
    EXPECT_EQ(refusal("urn:kxfw:worker"),
              prefix + "worker cannot be used: it needs http://lv2plug.in/ns/ext/worker#schedule");
    EXPECT_EQ(refusal("urn:kxfw:source"),
              prefix + "source cannot be used: it has 0 audio inputs and 1 outputs, and not one or two of each");
    EXPECT_EQ(refusal("urn:kxfw:absent"), prefix + "absent cannot be started");
    for (const char *uri : {"urn:kxfw:other", "", "no URI"})
        EXPECT_EQ(refusal(uri), "no LV2 plugin is called " + std::string(uri));
}

TEST_F(LV2Test, PlaysAsAnyEffectDoesAndIsNotHeardLate)
{
    for (const char *uri : {"urn:kxfw:stereo", "urn:kxfw:mono"}) {
        SCOPED_TRACE(uri);
        const auto effect = LV2Effect::make(uri).value();
        ASSERT_TRUE(effect->setControl("gain", 1));
        ChainRig rig({effect, std::make_shared<DelayEffect>(10)});
        const RenderGuard guard;
        rig.expectFrom(1, 4096);
        EXPECT_EQ(rig.held, 64U + 10U);
        rig.jumpTo(100'000);
        rig.expectFrom(100'000, 1000);
        ASSERT_EQ(AudioUnitReset(rig.chain.audioUnit(), kAudioUnitScope_Global, 0), noErr);
        rig.next = 50;
        rig.expectFrom(50, 100);
        ASSERT_TRUE(effect->setControl("gain", 0.5));
        ASSERT_EQ(rig.render(100), noErr);
        EXPECT_EQ(rig.out[99], 249.0F / 2);
    }
}

TEST_F(LV2Test, ControlsHaveNamesAndRanges)
{
    const auto effect = LV2Effect::make("urn:kxfw:stereo").value();
    ASSERT_EQ(effect->controls().size(), 1U);
    const auto &[symbol, name, minimum, maximum, initial] = effect->controls()[0];
    EXPECT_TRUE(symbol == "gain" && name == "Gain" && minimum == 0 && maximum == 2.5 && initial == 1);
    EXPECT_EQ(effect->setControl("gain", 3).error().reason, "the control gain has to be from 0.000000 to 2.500000");
    EXPECT_EQ(effect->setControl("gaim", 1).error().reason, "the LV2 plugin has no control gaim");
    EXPECT_EQ(effect->control("gain").value(), 1);
    EXPECT_TRUE(effect->setControl("gain", 2.5));
    EXPECT_EQ(effect->control("gain").value(), 2.5);
}

} // namespace
} // namespace kx::test
