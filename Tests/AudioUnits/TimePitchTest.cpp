#include "KXFW/Platform/AudioUnits/AVAudioUnitTimePitch.h"
#include "Tests/Contracts/UnitContract.h"
#include "Tests/Support/RenderGuard.h"
#include "Tests/Support/UnitTesting.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <optional>
#include <random>
#include <tuple>

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
        EXPECT_EQ(effect.setRate(rate), noErr);
        EXPECT_EQ(effect.setPitch(cents), noErr);
        EXPECT_EQ(feed_.feed(effect.audioUnit()), noErr);
        EXPECT_EQ(AudioUnitInitialize(effect.audioUnit()), noErr);
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

    AVAudioUnitTimePitch effect;
    uint64_t drawn = 0;
    bool fails = false; ///< its input
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
        return noErr;
    }

    Callback feed_;
    Signal signal_;
};

float largestStep(const std::vector<float> &samples, std::size_t from, std::size_t to)
{
    float largest = 0;
    for (std::size_t i = std::max<std::size_t>(from, 1); i < to; ++i)
        largest = std::max(largest, std::abs(samples[i] - samples[i - 1]));
    return largest;
}

/// The amplitude of a tone in the samples, under a Hann window.
double amplitudeAt(double hertz, const std::vector<float> &samples, std::size_t from)
{
    const auto count = static_cast<double>(samples.size() - from);
    double real = 0;
    double imaginary = 0;
    for (std::size_t i = from; i < samples.size(); ++i) {
        const double at = static_cast<double>(i - from);
        const double weighted = samples[i] * (1 - std::cos(2 * std::numbers::pi * at / count));
        real += weighted * std::cos(2 * std::numbers::pi * hertz * at / 44100);
        imaginary += weighted * std::sin(2 * std::numbers::pi * hertz * at / 44100);
    }
    return 2 * std::hypot(real, imaginary) / count;
}

struct Setting {
    float rate;
    float cents;

    friend std::ostream &operator<<(std::ostream &out, const Setting &setting)
    {
        return out << "rate " << setting.rate << ", " << setting.cents << " cents";
    }
};

class TimePitch : public testing::TestWithParam<Setting>
{
};

INSTANTIATE_TEST_SUITE_P(All, TimePitch,
                         testing::Values(Setting{0.5F, 0}, Setting{0.8F, 0}, Setting{1.25F, 0}, Setting{2, 0},
                                         Setting{1, 100}, Setting{1, -700}, Setting{1, 1200}, Setting{0.5F, -1200},
                                         Setting{0.8F, -300}, Setting{2, 1200}, Setting{0.25F, 2400}, Setting{4, -2400},
                                         Setting{4, 0}, Setting{0.25F, 0}));

TEST(TimePitchUnit, KeepsTheUnitContract)
{
    for (const Setting &setting : {Setting{1, 0}, Setting{0.8F, 0}, Setting{1, 700}, Setting{2, -1200}})
        UnitContract{testing::PrintToString(setting),
                     {kAudioUnitType_FormatConverter, kAudioUnitSubType_TimePitch, 0, 0, 0},
                     [&](AudioUnit unit) {
                         const auto turn = [&](AudioUnitParameterID parameter, float value) {
                             EXPECT_EQ(AudioUnitSetParameter(unit, parameter, kAudioUnitScope_Global, 0, value, 0),
                                       noErr);
                         };
                         turn(kTimePitchParam_Rate, setting.rate);
                         turn(kTimePitchParam_Pitch, setting.cents);
                     }}
            .check();
}

TEST_P(TimePitch, DrawsTheLookAheadOnceAndThenWhatItPlays)
{
    Rig rig(noiseAt, GetParam().rate, GetParam().cents);
    std::mt19937 random(4);
    double due = kLookAhead;
    for (int i = 0; i < 100; ++i) {
        const auto frames = static_cast<uint32_t>(i % 2 == 0 ? kSlice : random() % 4096 + 1);
        rig.render(frames);
        due += static_cast<double>(frames) * GetParam().rate;
        ASSERT_NEAR(static_cast<double>(rig.drawn), due, 1) << "slice " << i;
    }
    EXPECT_EQ(get<uint32_t>(rig.effect.audioUnit(), kAudioUnitProperty_HeldFrames, kAudioUnitScope_Global), kLookAhead);
    EXPECT_EQ(get<double>(rig.effect.audioUnit(), kAudioUnitProperty_DrawRate, kAudioUnitScope_Global),
              GetParam().rate);
}

class TimePitchTone : public testing::TestWithParam<std::tuple<float, float>>
{
};

INSTANTIATE_TEST_SUITE_P(All, TimePitchTone,
                         testing::Combine(testing::Values(0.5F, 0.8F, 1.0F, 1.25F, 2.0F),
                                          testing::Values(-1200.0F, -700.0F, -300.0F, -100.0F, 0.0F, 100.0F, 300.0F,
                                                          700.0F, 1200.0F)));

TEST_P(TimePitchTone, KeepsItsLevelAndHasTheWantedPitch)
{
    const auto [rate, cents] = GetParam();
    const double wanted = 440 * std::exp2(cents / 1200.0);
    Rig rig(sine(440), rate, cents);
    rig.renderUntil(2 * 44100);
    double best = 0;
    double bestLevel = 0;
    for (int step = -20; step <= 20; ++step) {
        const double hertz = wanted * (1 + step * 0.001);
        if (const double level = amplitudeAt(hertz, rig.out, 44100); level > bestLevel) {
            bestLevel = level;
            best = hertz;
        }
    }
    EXPECT_NEAR(best, wanted, 0.005 * wanted);
    EXPECT_NEAR(20 * std::log10(bestLevel / 0.5), 0, 1) << "dB";
    const double power = std::inner_product(rig.out.begin(), rig.out.end(), rig.out.begin(), 0.0);
    EXPECT_NEAR(10 * std::log10(power / static_cast<double>(rig.out.size()) / 0.125), 0, 1) << "dB";
}

TEST_P(TimePitch, ClicksKeepTheirPlacesInTime)
{
    constexpr uint64_t kPeriod = 22050;
    const double spacing = kPeriod / static_cast<double>(GetParam().rate);
    const double tempo = GetParam().rate / std::exp2(GetParam().cents / 1200.0);
    if (tempo > 2.1)
        GTEST_SKIP() << "most of the source is left out";
    const double tolerance = 0.035 * 44100 * std::max(1.0, 1 / tempo);
    Rig rig([](uint64_t frame) { return frame % kPeriod < 2500 ? noiseAt(frame) : 0; }, GetParam().rate,
            GetParam().cents);
    rig.renderUntil(static_cast<std::size_t>(8 * spacing));
    std::optional<std::size_t> last;
    std::vector<double> onsets;
    for (std::size_t i = 0; i < rig.out.size(); ++i)
        if (std::abs(rig.out[i]) > 0.02F) {
            if (!last || static_cast<double>(i - *last) > spacing / 2)
                onsets.push_back(static_cast<double>(i));
            last = i;
        }
    ASSERT_NEAR(static_cast<double>(onsets.size()), 8, 1);
    EXPECT_LT(onsets[0], 32) << "the first frame of the source is the first that is heard";
    for (std::size_t i = 0; i < onsets.size(); ++i)
        EXPECT_NEAR(onsets[i], static_cast<double>(i) * spacing, tolerance) << "click " << i;
}

TEST(TimePitchUnit, PassesItsInputThroughUntilItIsFirstSet)
{
    Rig rig(noiseAt);
    for (const uint32_t frames : {1u, 511u, 4096u, 7u}) {
        rig.render(frames);
        ASSERT_EQ(rig.drawn, rig.out.size());
    }
    for (std::size_t i = 0; i < rig.out.size(); ++i)
        ASSERT_EQ(rig.out[i], noiseAt(i));
    EXPECT_EQ(get<uint32_t>(rig.effect.audioUnit(), kAudioUnitProperty_HeldFrames, kAudioUnitScope_Global), 0u);

    ASSERT_EQ(rig.effect.setRate(0.8F), noErr);
    const std::size_t set = rig.out.size();
    rig.renderUntil(set + 1024);
    for (std::size_t i = set; i < set + 1024; ++i)
        ASSERT_EQ(rig.out[i], noiseAt(i)) << "the seam is none";
}

TEST(TimePitchUnit, GoesBackToTheSourceFrameForFrameWithTheFramesInHand)
{
    Rig rig(noiseAt);
    for (const Setting away :
         {Setting{0.7F, 0}, Setting{1, 450}, Setting{2.3F, -700}, Setting{0.5F, -1200}, Setting{1.5F, 0}}) {
        ASSERT_EQ(rig.effect.setRate(away.rate), noErr);
        ASSERT_EQ(rig.effect.setPitch(away.cents), noErr);
        for (int i = 0; i < 37; ++i)
            rig.render(501); // an odd number: half rates end on half frames
        ASSERT_EQ(rig.effect.setRate(1), noErr);
        ASSERT_EQ(rig.effect.setPitch(0), noErr);
        for (int i = 0; i < 4; ++i)
            rig.render();
        const std::size_t from = rig.out.size();
        const uint64_t heard = rig.drawn - kLookAhead;
        for (int i = 0; i < 30; ++i)
            rig.render();
        ASSERT_EQ(rig.drawn, heard + kLookAhead + 30 * kSlice);
        for (std::size_t i = from; i < rig.out.size(); ++i)
            ASSERT_EQ(rig.out[i], noiseAt(heard + i - from)) << away << ", frame " << i - from;
    }
}

TEST(TimePitchUnit, AThousandChangesLoseNothingAndDoNotClick)
{
    for (const double hertz : {150.0, 441.0, 2000.0}) {
        Rig rig(sine(hertz));
        std::mt19937 random(11);
        const auto between = [&](double low, double high) {
            return static_cast<float>(std::uniform_real_distribution(low, high)(random));
        };
        rig.render();
        const auto tone = static_cast<float>(std::numbers::pi * hertz / 44100); // the largest step of the tone itself
        double due = kLookAhead + kSlice;
        float speed = 1;
        float rate = 1;
        float cents = 0;
        for (int i = 0; i < 2000; ++i) {
            const float before = speed;
            switch (random() % 6) { // a jump, a small move, or home
            case 0:
                rate = std::exp2(between(-2, 2));
                break;
            case 1:
                cents = between(-2400, 2400);
                break;
            case 2:
                rate = 1;
                cents = 0;
                break;
            default:
                rate = std::clamp(rate * std::exp2(between(-0.05, 0.05)), 0.25F, 4.0F);
                break;
            }
            ASSERT_EQ(rig.effect.setRate(rate), noErr);
            ASSERT_EQ(rig.effect.setPitch(cents), noErr);
            speed = std::exp2(cents / 1200);
            const std::size_t from = rig.out.size();
            const auto frames = static_cast<uint32_t>(random() % 3 == 0 ? random() % 2000 + 1 : random() % 40 + 1);
            rig.render(frames);
            due += static_cast<double>(frames) * rate;
            ASSERT_LE(largestStep(rig.out, from, rig.out.size()), 1.5F * tone * std::max(before, speed))
                << hertz << " Hz, change " << i << ": rate " << rate << ", " << cents << " cents";
            ASSERT_NEAR(static_cast<double>(rig.drawn), due, 1) << "change " << i;
        }
    }
}

/// Changes that once brought the tempo library out of step: far from one extreme to the other, after few frames.
TEST(TimePitchUnit, ChangesAllocateNothing)
{
    if (!RenderGuard::works())
        GTEST_SKIP() << "sanitizers own the allocator";
    AVAudioUnitTimePitch effect;
    Callback silence([](const AudioTimeStamp &, uint32_t, AudioBufferList &data) {
        for (uint32_t i = 0; i < data.mNumberBuffers; ++i)
            std::memset((&data.mBuffers[0])[i].mData, 0, (&data.mBuffers[0])[i].mDataByteSize);
        return noErr;
    });
    ASSERT_EQ(silence.feed(effect.audioUnit()), noErr);
    ASSERT_EQ(AudioUnitInitialize(effect.audioUnit()), noErr);
    std::mt19937 random(5);
    BufferList list(2, 1, 2000 * static_cast<uint32_t>(sizeof(float)));
    const AudioTimeStamp time{};
    const RenderGuard guard;
    for (int i = 0; i < 6000; ++i) {
        effect.setRate(std::exp2(static_cast<float>(random() % 4001) / 1000 - 2));
        effect.setPitch(random() % 2 == 0 ? -2000 : static_cast<float>(random() % 4801) - 2400);
        const auto frames = static_cast<uint32_t>(random() % 10 == 0 ? random() % 2000 + 1 : random() % 100 + 1);
        list.rewind(frames * static_cast<uint32_t>(sizeof(float)));
        ASSERT_EQ(AudioUnitRender(effect.audioUnit(), nullptr, &time, 0, frames, list.get()), noErr);
    }
    EXPECT_TRUE(guard.isClean()) << guard;
}

TEST(TimePitchUnit, ChangesMeanTheSameInAnySlices)
{
    const auto rendered = [](uint32_t slice) {
        Rig rig(noiseAt);
        std::mt19937 random(3);
        for (int change = 0; change < 40; ++change) {
            rig.effect.setRate(random() % 4 == 0 ? 1 : std::exp2(static_cast<float>(random() % 400) / 100 - 2));
            rig.effect.setPitch(random() % 3 == 0 ? 0 : static_cast<float>(random() % 4801) - 2400);
            for (uint32_t left = 3000; left > 0; left -= std::min(left, slice))
                rig.render(std::min(left, slice));
        }
        return rig.out;
    };
    const auto whole = rendered(3000);
    for (const uint32_t slice : {7u, 64u, 513u})
        EXPECT_TRUE(rendered(slice) == whole) << slice << " frames a slice";
}

TEST(TimePitchUnit, AnInputThatFailsIsSilentAndThenGoesOn)
{
    Rig rig(noiseAt, 0.5F);
    const BufferList list(2, 1, kSlice * static_cast<uint32_t>(sizeof(float)));
    const AudioTimeStamp time{};
    rig.fails = true;
    EXPECT_NE(AudioUnitRender(rig.effect.audioUnit(), nullptr, &time, 0, kSlice, list.get()), noErr);
    rig.fails = false;
    ASSERT_EQ(rig.effect.setRate(1), noErr);
    rig.renderUntil(4 * kSlice);
    for (std::size_t i = 0; i < rig.out.size(); ++i)
        ASSERT_EQ(rig.out[i], noiseAt(i));
}

TEST(TimePitchUnit, RefusesWhatItCannotDo)
{
    AVAudioUnitTimePitch effect;
    EXPECT_EQ(effect.rate(), 1);
    EXPECT_EQ(effect.pitch(), 0);
    for (const float bad : {0.0F, 0.249F, 4.01F, -1.0F, NAN, INFINITY})
        EXPECT_NE(effect.setRate(bad), noErr) << bad;
    for (const float bad : {-2400.5F, 2401.0F, NAN, -INFINITY})
        EXPECT_NE(effect.setPitch(bad), noErr) << bad;
    EXPECT_EQ(effect.rate(), 1);
    EXPECT_EQ(effect.pitch(), 0);
    for (const float good : {0.25F, 4.0F})
        EXPECT_EQ(effect.setRate(good), noErr) << good;
    for (const float good : {-2400.0F, 2400.0F})
        EXPECT_EQ(effect.setPitch(good), noErr) << good;
    EXPECT_EQ(effect.rate(), 4);
    EXPECT_EQ(effect.pitch(), 2400);
}

TEST(TimePitchUnit, OutlivesItsObjectWhileItIsHeld)
{
    std::optional<AVAudioUnitTimePitch> effect(std::in_place);
    const AudioUnit unit = effect->audioUnit();
    auto first = AudioUnitHold(unit);
    auto second = AudioUnitHold(unit);
    effect.reset();
    first.reset();
    EXPECT_EQ(AudioUnitInitialize(unit), noErr);
    second.reset();
    EXPECT_EQ(AudioUnitInitialize(unit), kAudioComponentErr_InstanceInvalidated);
    EXPECT_EQ(AudioUnitHold(unit), nullptr);
}

} // namespace
} // namespace kx::test
