#include "KXFW/Platform/AudioUnits/AVAudioUnitTimePitch.h"
#include "Tests/Contracts/UnitContract.h"
#include "Tests/Support/RenderGuard.h"
#include "Tests/Support/UnitTesting.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>
#include <random>

namespace kx::test
{
namespace
{

constexpr uint32_t kSlice = 512;
constexpr uint32_t kLookAhead = 7000;

using Signal = std::function<float(uint64_t frame)>;

Signal sine(double hertz, double level = 0.5)
{
    return [=](uint64_t frame) {
        return static_cast<float>(level * std::sin(2 * std::numbers::pi * hertz * static_cast<double>(frame) / 44100));
    };
}

float noiseAt(uint64_t frame)
{
    return static_cast<float>(sampleAt(frame)) / 65536.0F;
}

/// A time-pitch unit that is fed with a signal, left as it is and right turned over.
class Rig
{
public:
    explicit Rig(Signal signal, float rate = 1, float cents = 0)
        : feed_([this](const AudioTimeStamp &, uint32_t frames, AudioBufferList &data) { return fill(frames, data); }),
          signal_(std::move(signal))
    {
        turnTo(rate, cents);
        EXPECT_EQ(feed_.feed(effect.audioUnit()), noErr);
        EXPECT_EQ(AudioUnitInitialize(effect.audioUnit()), noErr);
    }

    void turnTo(float rate, float cents)
    {
        EXPECT_EQ(effect.setRate(rate), noErr);
        EXPECT_EQ(effect.setPitch(cents), noErr);
    }

    void render(uint32_t frames = kSlice)
    {
        const BufferList list(2, 1, frames * static_cast<uint32_t>(sizeof(float)));
        const AudioTimeStamp time{};
        ASSERT_EQ(AudioUnitRender(effect.audioUnit(), nullptr, &time, 0, frames, list.get()), noErr);
        const auto *left = reinterpret_cast<const float *>(list.data(0));
        const auto *right = reinterpret_cast<const float *>(list.data(1));
        for (uint32_t i = 0; i < frames; ++i) {
            ASSERT_TRUE(std::isfinite(left[i]));
            ASSERT_EQ(left[i], -right[i]) << "the channels stay together";
        }
        out.insert(out.end(), left, left + frames);
    }
    void renderUntil(std::size_t frames)
    {
        while (out.size() < frames && !testing::Test::HasFatalFailure())
            render();
    }

    /// What is drawn from now on is `signal` from its start.
    void jumpTo(Signal signal)
    {
        signal_ = std::move(signal);
        drawn = 0;
        feed_.flagsOfNext = kAudioUnitRenderAction_Discontinuity;
    }

    AVAudioUnitTimePitch effect;
    uint64_t drawn = 0;
    bool fails = false;      ///< its input
    bool jumpsTwice = false; ///< with the draw after the next one, too
    /// No step from `from` on is larger than those of a tone at this speed by more than half.
    void expectNoClick(std::size_t from, double hertz, float speed) const
    {
        const auto largest = 1.5F * static_cast<float>(std::numbers::pi * hertz / 44100) * speed;
        for (std::size_t at = std::max<std::size_t>(from, 1); at < out.size(); ++at)
            ASSERT_LE(std::abs(out[at] - out[at - 1]), largest) << hertz << " Hz, frame " << at - from;
    }
    void expectSource(std::size_t from, std::size_t to, uint64_t first) const
    {
        for (std::size_t i = from; i < to; ++i)
            ASSERT_EQ(out[i], noiseAt(first + i - from)) << "frame " << i;
    }
    std::vector<float> out;

private:
    OSStatus fill(uint32_t frames, AudioBufferList &data)
    {
        if (fails)
            return kAudioHardwareUnspecifiedError;
        auto *left = static_cast<float *>(data.mBuffers[0].mData);
        auto *right = static_cast<float *>((&data.mBuffers[0])[1].mData);
        for (uint32_t i = 0; i < frames; ++i) {
            left[i] = signal_(drawn + i);
            right[i] = -left[i];
        }
        drawn += frames;
        if (std::exchange(jumpsTwice, false))
            feed_.flagsOfNext = kAudioUnitRenderAction_Discontinuity;
        return noErr;
    }

    Callback feed_;
    Signal signal_;
};

/// The amplitude of a tone in the samples, under a Hann window, in dB.
double levelAt(double hertz, const std::vector<float> &samples, std::size_t from)
{
    const auto count = static_cast<double>(samples.size() - from);
    std::complex<double> sum = 0;
    for (std::size_t i = from; i < samples.size(); ++i) {
        const double turn = 2 * std::numbers::pi * static_cast<double>(i - from);
        sum += std::polar(samples[i] * (1 - std::cos(turn / count)), turn * hertz / 44100);
    }
    return 20 * std::log10(2 * std::abs(sum) / count);
}

struct Setting {
    float rate;
    float cents;

    friend std::ostream &operator<<(std::ostream &out, const Setting &setting)
    {
        return out << "rate " << setting.rate << ", " << setting.cents << " cents";
    }
};

constexpr Setting kSettings[] = {{0.5F, 0},     {0.8F, 0},  {1.25F, 0},    {2, 0},       {1, 100},
                                 {1, -700},     {1, 1200},  {0.5F, -1200}, {0.8F, -300}, {2, 1200},
                                 {0.25F, 2400}, {4, -2400}, {4, 0},        {0.25F, 0}};

TEST(TimePitchUnit, KeepsTheUnitContract)
{
    for (const Setting &setting : {Setting{1, 0}, Setting{0.8F, 0}, Setting{1, 700}, Setting{2, -1200}}) {
        SCOPED_TRACE(setting);
        checkContract({kAudioUnitType_FormatConverter, kAudioUnitSubType_TimePitch, 0, 0, 0}, [&](AudioUnit unit) {
            AudioUnitSetParameter(unit, kTimePitchParam_Rate, kAudioUnitScope_Global, 0, setting.rate, 0);
            AudioUnitSetParameter(unit, kTimePitchParam_Pitch, kAudioUnitScope_Global, 0, setting.cents, 0);
        });
    }
}

TEST(TimePitchUnit, AToneKeepsItsLevelAndHasTheWantedPitch)
{
    for (const float rate : {0.5F, 0.8F, 1.0F, 1.25F, 2.0F})
        for (const float cents : {-1200.0F, -700.0F, -300.0F, -100.0F, 0.0F, 100.0F, 300.0F, 700.0F, 1200.0F}) {
            const Setting setting{rate, cents};
            SCOPED_TRACE(setting);
            Rig rig(sine(440), rate, cents);
            rig.renderUntil(2 * 44100);
            const double wanted = 440 * std::exp2(cents / 1200.0);
            const double half = 20 * std::log10(0.5);
            EXPECT_NEAR(levelAt(wanted, rig.out, 44100), half, 1) << "less where the pitch is off";
            const double power = std::inner_product(rig.out.begin(), rig.out.end(), rig.out.begin(), 0.0);
            EXPECT_NEAR(10 * std::log10(2 * power / static_cast<double>(rig.out.size())), half, 1);
        }
}

TEST(TimePitchUnit, ClicksKeepTheirPlacesInTime)
{
    constexpr uint64_t kPeriod = 22050;
    for (const Setting &setting : kSettings) {
        SCOPED_TRACE(setting);
        const double spacing = kPeriod / static_cast<double>(setting.rate);
        const double tempo = setting.rate / std::exp2(setting.cents / 1200.0);
        if (tempo > 2.1) // most of the source is left out
            continue;
        Rig rig([](uint64_t frame) { return frame % kPeriod < 2500 ? noiseAt(frame) : 0; }, setting.rate,
                setting.cents);
        rig.renderUntil(static_cast<std::size_t>(8 * spacing));
        std::vector<double> onsets;
        double last = -spacing;
        for (std::size_t i = 0; i < rig.out.size(); ++i)
            if (const auto at = static_cast<double>(i); std::abs(rig.out[i]) > 0.02F)
                if (at - std::exchange(last, at) > spacing / 2)
                    onsets.push_back(at);
        ASSERT_NEAR(static_cast<double>(onsets.size()), 8, 1);
        EXPECT_LT(onsets[0], 32) << "the first frame of the source is the first that is heard";
        for (std::size_t i = 0; i < onsets.size(); ++i)
            EXPECT_NEAR(onsets[i], static_cast<double>(i) * spacing, 0.035 * 44100 * std::max(1.0, 1 / tempo))
                << "click " << i;
    }
}

TEST(TimePitchUnit, PassesItsInputThroughUntilItIsSetAndComesBackToItFrameForFrame)
{
    Rig rig(noiseAt);
    const AudioUnit unit = rig.effect.audioUnit();
    for (const uint32_t frames : {1u, 511u, 4096u, 7u}) {
        rig.render(frames);
        ASSERT_EQ(rig.drawn, rig.out.size());
    }
    EXPECT_EQ(get<uint32_t>(unit, kAudioUnitProperty_HeldFrames, kAudioUnitScope_Global), 0u);
    const std::size_t set = rig.out.size();
    rig.turnTo(0.5F, 0);
    rig.fails = true;
    const BufferList list(2, 1, kSlice * static_cast<uint32_t>(sizeof(float)));
    EXPECT_NE(AudioUnitRender(unit, nullptr, nullptr, 0, kSlice, list.get()), noErr);
    rig.fails = false;
    for (const Setting away : {Setting{1, 0}, {0.8F, 0}, {1, 450}, {2.3F, -700}, {0.5F, -1200}, {1.5F, 0}}) {
        SCOPED_TRACE(away);
        rig.turnTo(away.rate, away.cents);
        for (int i = 0; i < 37; ++i)
            rig.render(501); // an odd number: half rates end on half frames
        rig.turnTo(1, 0);
        rig.renderUntil(rig.out.size() + 4 * kSlice);
        const std::size_t from = rig.out.size();
        const uint64_t heard = rig.drawn - kLookAhead;
        rig.renderUntil(from + 30 * kSlice);
        ASSERT_EQ(rig.drawn, heard + kLookAhead + 30 * kSlice);
        rig.expectSource(from, rig.out.size(), heard);
    }
    rig.expectSource(0, set + 1024, 0); // neither the failure nor the first seam is heard
}

/// Some go from one extreme to the other, after few frames: these once brought the tempo library out of step, and left
/// a tempo of 16 when next to nothing of its sound was in hand.
TEST(TimePitchUnit, ThousandsOfChangesLoseNothingDoNotClickAndAllocateNothing)
{
    const RenderGuard guard;
    for (const double hertz : {150.0, 441.0, 2000.0}) {
        Setting setting{0.5F, 0};
        Rig rig(sine(hertz), setting.rate);
        std::mt19937 random(11);
        const auto between = [&](double low, double high) {
            return static_cast<float>(std::uniform_real_distribution(low, high)(random));
        };
        rig.render();
        double due = kLookAhead + kSlice * setting.rate;
        float speed = 1;
        for (int i = 0; i < 3000; ++i) {
            const Setting nearby{std::clamp(setting.rate * between(0.96, 1.04), 0.25F, 4.0F), setting.cents};
            const Setting changes[] = {{std::exp2(between(-2, 2)), setting.cents},
                                       {setting.rate, between(-2400, 2400)},
                                       {setting.rate, -2000},
                                       {1, 0},
                                       {random() % 2 ? 0.25F : 4.0F, random() % 2 ? -2400.0F : 2400.0F},
                                       nearby,
                                       nearby};
            setting = changes[random() % std::size(changes)];
            SCOPED_TRACE(testing::Message() << "change " << i << ": " << setting);
            rig.turnTo(setting.rate, setting.cents);
            const float before = std::exchange(speed, std::exp2(setting.cents / 1200));
            const std::size_t from = rig.out.size();
            const auto frames = static_cast<uint32_t>(random() % 3 == 0 ? random() % 2000 + 1 : random() % 40 + 1);
            rig.render(frames);
            due += static_cast<double>(frames) * setting.rate;
            rig.expectNoClick(from, hertz, std::max(before, speed));
            ASSERT_NEAR(static_cast<double>(rig.drawn), due, 1);
        }
    }
    EXPECT_TRUE(!RenderGuard::works() || guard.isClean()) << guard;
}

TEST(TimePitchUnit, ChangesMeanTheSameInAnySlices)
{
    const auto rendered = [](uint32_t slice) {
        Rig rig(noiseAt);
        std::mt19937 random(3);
        for (int change = 0; change < 40; ++change) {
            const float rate = random() % 4 == 0 ? 1 : std::exp2(static_cast<float>(random() % 400) / 100 - 2);
            rig.turnTo(rate, random() % 3 == 0 ? 0 : static_cast<float>(random() % 4801) - 2400);
            for (uint32_t left = 3000; left > 0; left -= std::min(left, slice))
                rig.render(std::min(left, slice));
        }
        return rig.out;
    };
    const auto whole = rendered(3000);
    for (const uint32_t slice : {7u, 64u, 513u})
        EXPECT_TRUE(rendered(slice) == whole) << slice << " frames a slice";
}

TEST(TimePitchUnit, AJumpOfTheInputIsHeardAtOnceWithoutAClick)
{
    constexpr uint32_t kFade = 1024;
    const RenderGuard guard;
    for (const Setting &setting : kSettings) {
        SCOPED_TRACE(setting);
        const float speed = std::exp2(setting.cents / 1200);
        Rig rig(sine(441), setting.rate, setting.cents);
        rig.renderUntil(10 * kSlice);
        for (int i = 0; i < 20; ++i) {
            SCOPED_TRACE(i);
            rig.jumpTo(sine(441));
            rig.jumpsTwice = i % 5 == 0;
            const std::size_t from = rig.out.size();
            rig.render(i % 4 == 0 ? 8 : static_cast<uint32_t>(1000 * i + 1) % 4000); // some jump within the fade
            const double due = kLookAhead + static_cast<double>(rig.out.size() - from) * setting.rate;
            EXPECT_TRUE(i % 5 == 0 || std::abs(static_cast<double>(rig.drawn) - due) < 1) << rig.drawn << ", " << due;
            rig.expectNoClick(from, 441, std::max(speed, 1.0F));
        }
        rig.jumpTo([](uint64_t) { return 0.25F; });
        rig.renderUntil(rig.out.size() + static_cast<std::size_t>(kFade / speed) + kSlice);
        EXPECT_NEAR(rig.out.back(), 0.25F, 0.01F);
    }
    EXPECT_TRUE(!RenderGuard::works() || guard.isClean()) << guard;
}

TEST(TimePitchUnit, RefusesWhatItCannotDo)
{
    Rig rig(noiseAt, 0.25F, -2400);
    rig.turnTo(4, 2400);
    for (const float bad : {0.0F, 0.249F, 4.01F, NAN, INFINITY})
        EXPECT_NE(rig.effect.setRate(bad), noErr) << bad;
    for (const float bad : {-2400.5F, 2401.0F, NAN})
        EXPECT_NE(rig.effect.setPitch(bad), noErr) << bad;
    EXPECT_EQ(rig.effect.rate(), 4);
    EXPECT_EQ(rig.effect.pitch(), 2400);
}

} // namespace
} // namespace kx::test
