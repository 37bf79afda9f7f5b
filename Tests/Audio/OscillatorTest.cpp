#include "KXFW/Audio/KXOscillator.h"
#include "KXFW/Audio/VectorSine.h"
#include "KXFW/Platform/AudioUnits/RenderScope.h"
#include "Tests/Support/RenderGuard.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <thread>
#include <vector>

namespace kx::test
{
namespace
{

constexpr double kPi = std::numbers::pi;

std::vector<float> pulled(KXOscillator &oscillator, uint32_t count)
{
    std::vector<float> samples(count);
    EXPECT_EQ(oscillator.pull(samples.data(), &count), 0);
    return samples;
}

/// Compares what == does not: zeros by their sign.
std::vector<uint32_t> bits(const std::vector<float> &samples)
{
    std::vector<uint32_t> result(samples.size());
    std::transform(samples.begin(), samples.end(), result.begin(), [](float s) { return std::bit_cast<uint32_t>(s); });
    return result;
}

/// The rules of an oscillator, one sample after the other, as plainly as they can be written.
struct Model {
    float next()
    {
        const float f = lfo ? pitch + lfo() : pitch;
        phase = static_cast<float>(phase + f / 44100.0 * 2 * kPi);
        if (phase > 2 * kPi)
            phase = static_cast<float>(phase - 2 * kPi);
        const double x = phase;
        double s = type == 4 ? 1 : 0;
        if (type == 0)
            s = std::sin(x);
        if (type == 1)
            s = x < kPi ? 2 * x / kPi - 1 : (x - kPi) * -2 / kPi + 1;
        if (type == 2)
            s = x <= kPi ? -1 : 1;
        if (type == 3 && x > kPi) {
            held = 2 * (static_cast<float>(std::rand()) / 2147483648.0F) - 1;
            phase = 0;
        }
        if (type == 3)
            s = held;
        const float g = amplitude;
        return static_cast<float>(s) * (envelope ? static_cast<float>(g * envelope()) : g);
    }

    std::vector<float> next(uint32_t count)
    {
        std::vector<float> samples(count);
        std::generate(samples.begin(), samples.end(), [this] { return next(); });
        return samples;
    }

    uint8_t type = 0;
    float pitch = 440;
    float amplitude = 1;
    float phase = 0;
    std::function<float()> lfo = {};
    std::function<double()> envelope = {};
    static inline float held = 0;
};

/// Calls a function for each value. Every fifth pull fails, with a value that must not count.
class Envelope : public KXEnvelope
{
public:
    explicit Envelope(std::function<double()> next) : next_(std::move(next)) {}
    OSStatus pull(double *values, const uint32_t *numSamples) override
    {
        EXPECT_EQ(*numSamples, 1U);
        const double value = next_();
        const bool fails = ++pulls_ % 5 == 0;
        *values = fails ? 1e6 : value;
        return fails ? -50 : 0;
    }

private:
    std::function<double()> next_;
    int pulls_ = 0;
};

class FailingLFO : public KXOscillator
{
public:
    OSStatus pull(float *buffer, const uint32_t *numSamples) override
    {
        const OSStatus status = KXOscillator::pull(buffer, numSamples);
        return ++pulls_ % 3 == 0 ? -50 : status;
    }

private:
    int pulls_ = 0;
};

/// A random oscillator with up to three modulators, and its model. Both draw the same numbers.
class Pair
{
public:
    explicit Pair(unsigned seed, int depth = 0) : random_(seed)
    {
        const bool fails = depth > 0 && chance(8);
        oscillator = fails ? std::make_shared<FailingLFO>() : std::make_shared<KXOscillator>();
        change(depth);
        model.phase = uniform(0, 6.28F);
        oscillator->setPhase(model.phase);
        if (depth < 3 && chance(2)) {
            modulator_ = std::make_unique<Pair>(seed + 1000, depth + 1);
            EXPECT_TRUE(oscillator->setPitchLFO(modulator_->oscillator));
            model.lfo = [this] { return modulator_->modulation(); };
        }
        if (chance(6))
            shapeBoth();
        failsThirds_ = fails;
    }

    /// New settings for both, as an application makes them between two pulls.
    void change(int depth = 0)
    {
        constexpr float odd[] = {0, 22050, 44100, 90000, -300, 1e-3F};
        model.type = static_cast<uint8_t>(random_() % 6);
        model.pitch = chance(5) ? odd[random_() % 6] : uniform(1, depth > 0 ? 20 : 9000);
        model.amplitude = uniform(-1, 1) * (depth > 0 ? 500.0F : 1.0F);
        oscillator->setType(model.type);
        oscillator->setPitch(model.pitch);
        oscillator->setAmplitude(model.amplitude);
    }

    std::shared_ptr<KXOscillator> oscillator;
    Model model;

private:
    bool chance(unsigned of) { return random_() % of == 0; }
    float uniform(float from, float to) { return std::uniform_real_distribution<float>(from, to)(random_); }

    float modulation()
    {
        const float value = model.next();
        return failsThirds_ && ++pulls_ % 3 == 0 ? 0.0F : value;
    }

    /// An envelope that sets the pitch and the waveform of what it shapes before the next sample.
    void shapeBoth()
    {
        oscillator->setEnvelope(std::make_shared<Envelope>([o = oscillator.get(), n = 0]() mutable {
            o->setPitch(100.0F + static_cast<float>(++n % 700));
            o->setType(static_cast<uint8_t>(n / 50 % 6));
            return 1.0 / n;
        }));
        model.envelope = [this, n = 0]() mutable {
            model.pitch = 100.0F + static_cast<float>(++n % 700);
            model.type = static_cast<uint8_t>(n / 50 % 6);
            return n % 5 == 0 ? 1.0 : 1.0 / n;
        };
    }

    std::mt19937 random_;
    std::unique_ptr<Pair> modulator_;
    bool failsThirds_ = false;
    int pulls_ = 0;
};

TEST(Oscillator, EqualsTheRulesBitForBit)
{
    for (unsigned seed = 1; seed <= 600; ++seed) {
        Pair pair(seed);
        KXOscillator hold; // at pitch 0 it shows the noise value that all share
        hold.setType(3);
        hold.setPitch(0);
        Model::held = pulled(hold, 1)[0];
        for (uint32_t count : {1U, 700U, 3U, 1025U}) {
            std::srand(seed);
            const std::vector<float> samples = pulled(*pair.oscillator, count);
            std::srand(seed);
            const std::vector<float> expected = pair.model.next(count);
            ASSERT_EQ(bits(samples), bits(expected)) << "seed " << seed << ", block of " << count;
            ASSERT_EQ(pair.oscillator->phase(), pair.model.phase) << "seed " << seed;
            pair.change();
        }
    }
}

TEST(Oscillator, EqualsTheRulesWhereTheWaveformsTurn)
{
    for (const double turn : {kPi, 2 * kPi, 3 * kPi, 1e9})
        for (const int step : {-1, 0, 1})
            for (uint8_t type = 0; type < 6; ++type) {
                Model model{.type = type, .pitch = 0};
                model.phase = std::bit_cast<float>(std::bit_cast<int32_t>(static_cast<float>(turn)) + step);
                KXOscillator oscillator;
                oscillator.setType(type);
                oscillator.setPitch(0);
                Model::held = pulled(oscillator, 1)[0]; // for noise, which shows it
                oscillator.setPhase(model.phase);
                SCOPED_TRACE(::testing::Message() << "type " << int{type} << ", phase " << model.phase);
                std::srand(1);
                const auto samples = pulled(oscillator, 9);
                std::srand(1);
                EXPECT_EQ(bits(samples), bits(model.next(9)));
            }
}

TEST(Oscillator, TakesSettingsFromAnotherThreadWhileItIsPulled)
{
    KXOscillator oscillator;
    std::atomic<bool> done{false};
    std::thread setter([&] {
        for (unsigned i = 0; !done; ++i) {
            oscillator.setType(static_cast<uint8_t>(i % 5));
            oscillator.setPitch(static_cast<float>(i % 20000));
            oscillator.setAmplitude(static_cast<float>(i % 3));
        }
    });
    for (int block = 0; block < 200; ++block)
        for (const float sample : pulled(oscillator, 100))
            EXPECT_LE(std::abs(sample), 2.0F);
    done = true;
    setter.join();
}

TEST(Oscillator, StartsAsASineOf440AndWrapsAtATurn)
{
    KXOscillator oscillator;
    EXPECT_EQ(oscillator.type(), 0);
    EXPECT_EQ(oscillator.pitch(), kOscillatorDefaultPitch);
    EXPECT_EQ(oscillator.amplitude(), kOscillatorDefaultAmplitude);
    pulled(oscillator, 0);
    EXPECT_EQ(oscillator.phase(), 0.0F);
    EXPECT_NEAR(pulled(oscillator, 1)[0], 0.06265, 1e-5);
    pulled(oscillator, 99);
    EXPECT_NEAR(oscillator.phase(), 6.26893, 1e-5);
    pulled(oscillator, 1);
    EXPECT_NEAR(oscillator.phase(), 0.04844, 1e-5);

    const auto modulator = std::make_shared<KXOscillator>();
    modulator->setType(4);
    modulator->setAmplitude(10);
    oscillator.setPitchLFO(modulator);
    oscillator.setPhase(0);
    pulled(oscillator, 1);
    EXPECT_NEAR(oscillator.phase(), 2 * kPi * 450 / 44100, 1e-6);

    KXOscillator square;
    square.setType(2);
    square.setPitch(441);
    const auto period = pulled(square, 99);
    EXPECT_TRUE(std::all_of(period.begin(), period.begin() + 49, [](float s) { return s == -1; }));
    EXPECT_TRUE(std::all_of(period.begin() + 50, period.end(), [](float s) { return s == 1; }));
}

TEST(Oscillator, RefusesAModulatorThatLeadsBackToIt)
{
    const auto a = std::make_shared<KXOscillator>();
    const auto b = std::make_shared<KXOscillator>();
    const auto c = std::make_shared<KXOscillator>();
    EXPECT_TRUE(a->setPitchLFO(b));
    EXPECT_TRUE(b->setAmplitudeLFO(c));
    EXPECT_TRUE(a->setAmplitudeLFO(c)); // two ways to one end are no circle
    EXPECT_FALSE(a->setPitchLFO(a));
    EXPECT_FALSE(c->setPitchLFO(a));
    EXPECT_FALSE(c->setAmplitudeLFO(b));
    EXPECT_EQ(a->pitchLFO(), b);
    EXPECT_EQ(c->pitchLFO(), nullptr);
    EXPECT_TRUE(a->setPitchLFO(nullptr));
    EXPECT_TRUE(a->setAmplitudeLFO(nullptr));
    EXPECT_TRUE(c->setPitchLFO(a));
}

TEST(Oscillator, KeepsAnEnvelopeThatTakesItselfOutUntilItReturns)
{
    KXOscillator oscillator;
    oscillator.setType(4);
    auto envelope = std::make_shared<Envelope>([&oscillator, level = 0.25] {
        oscillator.setEnvelope(nullptr);
        return level;
    });
    oscillator.setEnvelope(std::move(envelope));
    EXPECT_EQ(pulled(oscillator, 3), (std::vector<float>{0.25F, 1, 1}));
}

TEST(Oscillator, PullsWithoutMemoryOrLocks)
{
    if (!RenderGuard::works())
        GTEST_SKIP() << "a sanitizer owns the allocator";
    Pair pair(7);
    std::vector<float> samples(5000);
    const auto count = static_cast<uint32_t>(samples.size());
    const RenderGuard guard;
    {
        const RenderScope scope;
        pair.oscillator->pull(samples.data(), &count);
    }
    EXPECT_TRUE(guard.isClean()) << guard;
}

/// Every float near the multiples of a quarter turn, where most bits of the reduced angle cancel, and a spread of all
/// others. The benchmark sineOfEveryFloat goes through all of them.
TEST(VectorSine, EqualsTheLibrarysSineRoundedToFloat)
{
    const uint32_t end = std::bit_cast<uint32_t>(kLargestVectorPhase);
    std::vector<float> phases{-0.0F, -kLargestVectorPhase, 9.0F};
    for (uint64_t bits = 0; bits <= end; bits += 1999)
        phases.push_back(std::bit_cast<float>(static_cast<uint32_t>(bits)));
    for (int quarter = 1; quarter <= 5; ++quarter)
        for (uint32_t i = 0; i < 20000; ++i)
            phases.push_back(
                std::bit_cast<float>(std::bit_cast<uint32_t>(static_cast<float>(quarter * kPi / 2)) - 10000 + i));
    for (std::size_t at = 0; at < phases.size(); at += 509) {
        std::vector<float> block(phases.begin() + static_cast<std::ptrdiff_t>(at),
                                 phases.begin() + static_cast<std::ptrdiff_t>(std::min(at + 509, phases.size())));
        sineTimes(0.5F, block.data(), block.size());
        for (std::size_t i = 0; i < block.size(); ++i) {
            const float expected = static_cast<float>(std::sin(static_cast<double>(phases[at + i]))) * 0.5F;
            ASSERT_EQ(std::bit_cast<uint32_t>(block[i]), std::bit_cast<uint32_t>(expected)) << phases[at + i];
        }
    }
}

} // namespace
} // namespace kx::test
