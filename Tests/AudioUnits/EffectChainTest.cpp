// Effects in a row, as one unit.
#include "Tests/AudioUnits/ChainRig.h"
#include "Tests/Contracts/UnitContract.h"
#include "kx/TimePitch.h"

#include <cmath>
#include <limits>

namespace kx::test
{
namespace
{

Effects effectsOfEachKind()
{
    auto pitch = std::make_shared<TimePitch>();
    EXPECT_TRUE(pitch->setRate(0.7) && pitch->setPitch(300));
    return {std::make_shared<DelayEffect>(700), pitch, std::make_shared<DelayEffect>(5000, 0.5F),
            std::make_shared<DelayEffect>(64)};
}

TEST(EffectChain, KeepsTheContractOfUnits)
{
    const auto chain = chainOf(effectsOfEachKind());
    checkContract(chain.audioUnit());
}

/// Neither at the start nor after a jump, however long it is late and however short the slices are.
TEST(EffectChain, NothingIsHeardLateAndWhatIsHeldIsTold)
{
    for (const uint32_t slice : {1U, 100U, 512U, 4096U})
        for (const uint32_t late : {1U, 64U, 512U, 3000U}) {
            SCOPED_TRACE(testing::Message() << late << " late, slices of " << slice);
            ChainRig rig({std::make_shared<DelayEffect>(late), std::make_shared<TimePitch>(),
                          std::make_shared<DelayEffect>(10)});
            const auto expectSlices = [&](uint32_t first) {
                for (uint32_t i = 0; i < 3; ++i) {
                    rig.expectFrom(first + i * slice, slice);
                    ASSERT_EQ(rig.held, late + 10);
                    ASSERT_EQ(rig.next, first + (i + 1) * slice + rig.held) << "drawn";
                }
            };
            expectSlices(1);
            rig.jumpTo(100'000);
            expectSlices(100'000);
            rig.pullsToJump = 2; // within a slice: it is of the new place
            rig.jumpsTo = 200'000;
            while (slice <= 1024 && rig.pullsToJump > 0)
                ASSERT_EQ(rig.render(slice), noErr);
            expectSlices(200'000);
            rig.next = 1;
            ASSERT_EQ(AudioUnitReset(rig.chain.audioUnit(), kAudioUnitScope_Global, 0), noErr);
            ASSERT_EQ(get<uint32_t>(rig.chain.audioUnit(), kAudioUnitProperty_HeldFrames, kAudioUnitScope_Global), 0U);
            expectSlices(1);
        }
}

TEST(EffectChain, NumbersThatAreNoneLastForABlockAndFailuresOfTheSourceForASlice)
{
    class Poisoned final : public DelayEffect
    {
    public:
        Poisoned() : DelayEffect(1000, 0.5F) {}
        void process(Source &source, const Block &out) noexcept override
        {
            DelayEffect::process(source, out);
            if (std::exchange(poison, false))
                out.channels[1][out.frames / 2] = std::numeric_limits<float>::infinity();
            sum += out.channels[1][out.frames / 2]; // what the effect remembers
            out.channels[0][0] += sum - sum;
        }
        void reset() noexcept override
        {
            sum = 0;
            ++resets;
        }
        int resets = 0;
        bool poison = true;
        float sum = 0;
    };
    const auto poisoned = std::make_shared<Poisoned>();
    ChainRig rig({poisoned, std::make_shared<DelayEffect>(10)});
    for (int slice = 0; slice < 4; ++slice) {
        ASSERT_EQ(rig.render(512), noErr);
        EXPECT_EQ(std::ranges::count_if(rig.out, [](float sample) { return !std::isfinite(sample); }), 0);
        EXPECT_EQ(std::ranges::count(rig.out, 0.0F), slice == 0 ? 1 : 0) << slice;
    }
    rig.givesNoNumber = true;
    ASSERT_EQ(rig.render(512), noErr);
    EXPECT_EQ(poisoned->resets, 2) << "at the start and for its own, not for the source's";
    rig.fails = true;
    EXPECT_EQ(rig.render(512), kAudioHardwareUnspecifiedError);
    EXPECT_EQ(std::ranges::count(rig.out, 0.0F), 512);
    rig.fails = false;
    EXPECT_EQ(rig.render(512), noErr);
}

TEST(EffectChain, ASourceThatAlwaysJumpsIsHeardAllTheSame)
{
    for (const Effects &effects : {Effects{std::make_shared<DelayEffect>(3000)}, effectsOfEachKind()}) {
        ChainRig rig(effects);
        rig.alwaysJumps = true;
        for (const uint32_t frames : {1U, 4096U, 100U})
            EXPECT_EQ(rig.render(frames), noErr);
    }
}

/// One that gives no numbers is late anew after each reset; one whose latency comes and goes, with each return.
TEST(EffectChain, AnEffectThatIsLateAgainAndAgainIsWaitedForOnce)
{
    struct Broken final : SampleEffect {
        Broken() : SampleEffect([](float) { return std::numeric_limits<float>::quiet_NaN(); }) {}
        [[nodiscard]] std::uint32_t latency() const noexcept override { return 1024; }
    };
    struct Fickle final : SampleEffect {
        Fickle() : SampleEffect([](float sample) { return sample; }) {}
        [[nodiscard]] std::uint32_t latency() const noexcept override { return ++calls % 4 < 2 ? 0 : 600; }
        mutable std::uint32_t calls = 0;
    };
    for (const Effects &effects : {Effects{std::make_shared<Broken>()}, Effects{std::make_shared<Fickle>()}}) {
        ChainRig rig(effects);
        for (int slice = 0; slice < 3; ++slice)
            EXPECT_EQ(rig.render(2048), noErr);
    }
}

/// An effect that tells nonsense costs neither the process nor its time.
TEST(EffectChain, WhatItTellsBeyondSenseIsLimited)
{
    struct Liar final : SampleEffect {
        Liar() : SampleEffect([](float sample) { return sample; }) {}
        [[nodiscard]] std::uint32_t latency() const noexcept override { return ~0U; }
        [[nodiscard]] std::uint32_t heldFrames() const noexcept override { return ~0U; }
        [[nodiscard]] double drawRate() const noexcept override { return rate; }
        double rate = 1;
    };
    const auto liar = std::make_shared<Liar>();
    ChainRig rig({liar});
    rig.expectFrom(441'001, 512);
    for (const double rate : {std::nan(""), -1.0, 0.0, 1e300}) {
        liar->rate = rate;
        EXPECT_LE(get<uint32_t>(rig.chain.audioUnit(), kAudioUnitProperty_HeldFrames, kAudioUnitScope_Global),
                  1U << 30);
        const auto drawn = get<double>(rig.chain.audioUnit(), kAudioUnitProperty_DrawRate, kAudioUnitScope_Global);
        EXPECT_TRUE(drawn >= 1.0 / 64 && drawn <= 64) << rate;
    }
}

TEST(EffectChain, AnEffectHasOnePlaceAndItsUnitKeepsIt)
{
    const auto refusal = [](const Effects &effects, const EffectChain &replaced = {}) {
        const auto made = EffectChain::make(effects, replaced);
        return made ? "" : made.error().message();
    };
    auto one = std::make_shared<TimePitch>();
    const auto two = std::make_shared<TimePitch>();
    EffectChain chain = chainOf({one, two});
    EXPECT_EQ(refusal({one}), "another player has the effect");
    EXPECT_EQ(refusal({two, one}, chain), "") << "the other way round, in its place";
    EXPECT_EQ(refusal({two, two}, chain), "an effect is there twice");
    EXPECT_EQ(refusal({nullptr}), "an effect is missing");
    EXPECT_EQ(chainOf({}).audioUnit(), nullptr);
    struct Greedy final : SampleEffect {
        using SampleEffect::SampleEffect;
        void prepare(const Format & /*format*/) override { throw std::bad_alloc(); }
    };
    const auto greedy = std::make_shared<Greedy>([](float sample) { return sample; });
    for (int attempt = 0; attempt < 2; ++attempt) // it is not taken by the first one
        EXPECT_EQ(refusal({greedy}), "there is not enough memory");

    auto held = AudioUnitHold(chain.audioUnit());
    const std::weak_ptr<Effect> alive = std::exchange(one, nullptr);
    chain = EffectChain();
    EXPECT_FALSE(alive.expired()) << "the unit has it";
    held = nullptr;
    EXPECT_TRUE(alive.expired());
    EXPECT_EQ(refusal({two}), "");
}

TEST(EffectChain, TimePitchRefusesWhatIsOutsideItsRanges)
{
    TimePitch pitch;
    EXPECT_TRUE(pitch.setRate(0.7) && pitch.setPitch(-2400));
    for (const double rate : {0.2, 4.1, std::nan("")}) {
        const auto refused = pitch.setRate(rate);
        EXPECT_TRUE(!refused && refused.error().code == ErrorCode::InvalidArgument);
    }
    EXPECT_EQ(pitch.setPitch(2401).error().reason, "the pitch has to be from -2400 to 2400 cents");
    EXPECT_EQ(pitch.rate(), 0.7);
    EXPECT_EQ(pitch.pitch(), -2400);
}

} // namespace
} // namespace kx::test
