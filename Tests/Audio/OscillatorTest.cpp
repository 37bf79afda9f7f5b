#include "KXFW/Audio/KXOscillator.h"
#include "KXFW/Audio/VectorSine.h"
#include "KXFW/Platform/AudioUnits/RenderScope.h"
#include "Tests/Support/RenderGuard.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <vector>

namespace kx::test
{
namespace
{

constexpr double kPi = std::numbers::pi;

std::vector<float> pulled(KXOscillator &oscillator, uint32_t count)
{
    std::vector<float> samples(count);
    const RenderScope scope;
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

/// The float `steps` floats away.
float besides(double value, int steps)
{
    return std::bit_cast<float>(std::bit_cast<int32_t>(static_cast<float>(value)) + steps);
}

/// The rules of an oscillator, one sample after the other, as plainly as they can be written.
struct Model {
    float next()
    {
        const float f = lfo ? pitch + lfo->next() : pitch;
        phase = static_cast<float>(phase + f / 44100.0 * 2 * kPi);
        if (phase > 2 * kPi)
            phase = static_cast<float>(phase - 2 * kPi);
        const double x = phase;
        if (type == 3 && x > kPi) {
            held = 2 * (static_cast<float>(std::rand()) / 2147483648.0F) - 1;
            phase = 0;
        }
        const double waves[] = {
            std::sin(x), x < kPi ? 2 * x / kPi - 1 : (x - kPi) * -2 / kPi + 1, x <= kPi ? -1.0 : 1.0, held, 1, 0};
        const auto sample = static_cast<float>(waves[type]);
        return sample * (envelope ? static_cast<float>(amplitude * envelope()) : amplitude);
    }

    uint8_t type = 0;
    float pitch = 440;
    float amplitude = 1;
    float phase = 0;
    std::unique_ptr<Model> lfo = {};
    std::function<double()> envelope = {};
    static inline float held = 0; ///< noise, of all
};

struct Envelope : KXEnvelope {
    explicit Envelope(std::function<double()> given, OSStatus its = noErr) : next(std::move(given)), status(its) {}
    OSStatus pull(double *values, const uint32_t * /*numSamples*/) override
    {
        *values = next();
        return status;
    }

    std::function<double()> next;
    OSStatus status;
};

/// Random oscillators and their models, which must outlive the pulls.
struct Chance : std::mt19937 {
    using std::mt19937::mt19937;

    bool oneOf(unsigned many) { return (*this)() % many == 0; }
    float between(float from, float to) { return std::uniform_real_distribution<float>(from, to)(*this); }

    /// With up to three modulators.
    std::shared_ptr<KXOscillator> oscillator(Model &model, int depth = 0)
    {
        auto made = std::make_shared<KXOscillator>();
        change(*made, model, depth);
        model.phase = between(0, 6.28F);
        if (oneOf(4)) { // near where the waveforms turn, for the first sample
            model.phase =
                besides(std::array{kPi, 2 * kPi, 3 * kPi, 1e9}[(*this)() % 4], static_cast<int>((*this)() % 3) - 1);
            made->setPitch(model.pitch = 0);
        }
        made->setPhase(model.phase);
        if (depth < 3 && oneOf(2)) {
            model.lfo = std::make_unique<Model>();
            EXPECT_TRUE(made->setPitchLFO(oscillator(*model.lfo, depth + 1)));
        }
        if (oneOf(6)) {
            model.envelope = [n = 0.0]() mutable { return 1 / ++n; };
            made->setEnvelope(std::make_shared<Envelope>(model.envelope));
        }
        return made;
    }

    /// New settings for both, as an application makes them between two pulls.
    void change(KXOscillator &oscillator, Model &model, int depth = 0)
    {
        constexpr float odd[] = {0, 22050, 44100, 90000, -300, 1e-3F};
        oscillator.setType(model.type = static_cast<uint8_t>((*this)() % 6));
        oscillator.setPitch(model.pitch = oneOf(5) ? odd[(*this)() % 6] : between(1, depth > 0 ? 20 : 9000));
        oscillator.setAmplitude(model.amplitude = between(-1, 1) * (depth > 0 ? 500.0F : 1.0F));
    }
};

TEST(Oscillator, EqualsTheRulesBitForBitWithoutMemoryOrLocks)
{
    const RenderGuard guard;
    for (unsigned seed = 1; seed <= 600; ++seed) {
        Chance chance(seed);
        Model model;
        const auto oscillator = chance.oscillator(model);
        KXOscillator hold; // at pitch 0 it shows the noise value that all share
        hold.setType(3);
        hold.setPitch(0);
        Model::held = pulled(hold, 1)[0];
        for (uint32_t count : {1U, 700U, 3U, 1025U}) {
            std::srand(seed);
            const std::vector<float> samples = pulled(*oscillator, count);
            std::srand(seed);
            std::vector<float> expected(count);
            std::generate(expected.begin(), expected.end(), [&] { return model.next(); });
            ASSERT_EQ(bits(samples), bits(expected)) << "seed " << seed << ", block of " << count;
            ASSERT_EQ(oscillator->phase(), model.phase) << "seed " << seed;
            chance.change(*oscillator, model);
        }
    }
    EXPECT_TRUE(!RenderGuard::works() || guard.isClean()) << guard;
}

TEST(Oscillator, RefusesAModulatorThatLeadsBackToItAndLeavesOutWhatFails)
{
    const auto a = std::make_shared<KXOscillator>();
    const auto b = std::make_shared<KXOscillator>();
    const auto c = std::make_shared<KXOscillator>();
    EXPECT_TRUE(a->setPitchLFO(b));
    EXPECT_TRUE(b->setAmplitudeLFO(c));
    EXPECT_TRUE(a->setAmplitudeLFO(c)) << "two ways to one end are no circle";
    EXPECT_FALSE(a->setPitchLFO(a) || c->setPitchLFO(a) || c->setAmplitudeLFO(b));
    EXPECT_EQ(a->pitchLFO(), b);
    struct FailingLFO : KXOscillator {
        OSStatus pull(float *buffer, const uint32_t * /*numSamples*/) override
        {
            *buffer = 1e6F;
            return -50;
        }
    };
    KXOscillator oscillator;
    oscillator.setPitchLFO(std::make_shared<FailingLFO>());
    oscillator.setEnvelope(std::make_shared<Envelope>([] { return 1e6; }, -50));
    EXPECT_EQ(bits(pulled(oscillator, 700)), bits(pulled(*c, 700)));
    oscillator.setType(4);
    oscillator.setEnvelope(std::make_shared<Envelope>([&oscillator, level = 0.25] {
        oscillator.setEnvelope(nullptr);
        return level; // kept until it has returned
    }));
    EXPECT_EQ(pulled(oscillator, 3), (std::vector<float>{0.25F, 1, 1}));
}

/// Near the multiples of a quarter turn most bits of the reduced angle cancel. The benchmark sineOfEveryFloat goes
/// through all floats.
TEST(VectorSine, EqualsTheLibrarysSineRoundedToFloat)
{
    for (const double center : {1e-3, 9.0, -kPi / 2, kPi / 2, kPi, 3 * kPi / 2, 2 * kPi, 5 * kPi / 2}) {
        std::vector<float> phases(20000);
        std::generate(phases.begin(), phases.end(), [=, steps = -10000]() mutable { return besides(center, steps++); });
        auto sines = phases;
        sineTimes(0.5F, sines.data(), sines.size());
        for (float &phase : phases)
            phase = static_cast<float>(std::sin(static_cast<double>(phase))) * 0.5F;
        EXPECT_TRUE(bits(sines) == bits(phases)) << "near " << center;
    }
}

} // namespace
} // namespace kx::test
