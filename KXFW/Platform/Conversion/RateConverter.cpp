#include "KXFW/Platform/Conversion/RateConverter.h"

#include "KXFW/Platform/Foundation/Status.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <soxr.h>
#include <vector>

namespace kx
{
namespace
{

constexpr uint32_t kChunkFrames = 512; ///< input frames the library sees at once; bounds what it buffers

struct DeleteResampler {
    void operator()(soxr *resampler) const noexcept { soxr_delete(resampler); }
};
using Resampler = std::unique_ptr<soxr, DeleteResampler>;

int64_t divideUp(int64_t a, int64_t b)
{
    return (a + b - 1) / b;
}

bool isRate(double rate)
{
    return rate >= kMinimumSampleRate && rate <= kMaximumSampleRate;
}

Resampler makeResampler(int64_t inRate, int64_t outRate, uint32_t channels)
{
    soxr_error_t error = nullptr;
    soxr_io_spec_t format = soxr_io_spec(SOXR_FLOAT32_S, SOXR_FLOAT32_S);
    format.flags = SOXR_NO_DITHER;
    // The precise clock: without it the position creeps by a fraction of a frame an hour between odd rates.
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_24_BITQ, SOXR_HI_PREC_CLOCK);
    const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);
    return Resampler(soxr_create(static_cast<double>(inRate), static_cast<double>(outRate), channels, &error, &format,
                                 &quality, &runtime));
}

} // namespace

/// The library's own start is not used as it stands: its first frames lack a part of the filter, and its buffers grow
/// as it runs. So each start is led in by silence whose output is dropped. Nor is its flush: the input is followed by
/// silence, until as much came out as the input lasted.
struct RateConverter::Impl {
    Impl(int64_t inRate, int64_t outRate, uint32_t channels);

    void start() noexcept;
    Progress call(const float *const *in, uint32_t inFrames, float *const *out, uint32_t outFrames) noexcept;
    Progress step(const float *const *in, uint32_t inFrames, float *const *out, uint32_t outFrames) noexcept;
    Progress stepFrom(const float *const *in, uint32_t inFrames, uint32_t room, float *const *out) noexcept;
    uint32_t roomFor(uint32_t outFrames) const noexcept;

    int64_t outStep; ///< output frames of the shortest stretch that holds whole numbers of both
    int64_t inStep;  ///< input frames of the same
    int64_t preroll; ///< output frames
    Resampler resampler;
    std::vector<float> silence;
    std::vector<float> waste;
    std::vector<const float *> silentInputs;
    std::vector<float *> wasteOutputs;
    std::vector<const float *> inputs;
    std::vector<float *> outputs;
    int64_t leadInLeft = 0; ///< output frames to drop
    int64_t taken = 0;      ///< input frames since the start
    int64_t made = 0;       ///< output frames since the start
    bool dry = true;        ///< the library has given all that it can without more input
    bool ended = false;
};

RateConverter::Impl::Impl(int64_t inRate, int64_t outRate, uint32_t channels)
    : outStep(outRate / std::gcd(inRate, outRate)), inStep(inRate / std::gcd(inRate, outRate)),
      preroll(std::max<int64_t>(512, divideUp(256 * outRate, inRate))),
      resampler(makeResampler(inRate, outRate, channels)), silence(kChunkFrames), waste(kChunkFrames),
      silentInputs(channels, silence.data()), wasteOutputs(channels, waste.data()), inputs(channels), outputs(channels)
{
}

RateConverter::Progress RateConverter::Impl::call(const float *const *in, uint32_t inFrames, float *const *out,
                                                  uint32_t outFrames) noexcept
{
    std::size_t used = 0;
    std::size_t got = 0;
    auto *const targets = const_cast<float **>(out); // the library's type lacks the const; it writes the samples only
    if (soxr_process(resampler.get(), in, inFrames, &used, targets, outFrames, &got))
        return {0, 0};
    dry = got < outFrames;
    return {static_cast<uint32_t>(used), static_cast<uint32_t>(got)};
}

/// Moves some frames, or none if there is nothing to move. The library gets input only when it is dry, so that it
/// never hoards.
RateConverter::Progress RateConverter::Impl::step(const float *const *in, uint32_t inFrames, float *const *out,
                                                  uint32_t outFrames) noexcept
{
    if (!dry)
        if (const Progress held = call(silentInputs.data(), 0, out, outFrames); held.outputMade > 0)
            return held;
    return inFrames > 0 ? call(in, std::min(inFrames, kChunkFrames), out, outFrames) : Progress{0, 0};
}

void RateConverter::Impl::start() noexcept
{
    soxr_clear(resampler.get());
    taken = made = 0;
    dry = true;
    ended = false;
    const int64_t wanted = std::max<int64_t>(16 * kChunkFrames, divideUp(2 * preroll * inStep, outStep));
    int64_t left = divideUp(wanted, inStep) * inStep;
    leadInLeft = left / inStep * outStep;
    for (bool moved = true; left > 0 && moved;) {
        const auto frames = static_cast<uint32_t>(std::min<int64_t>(left, kChunkFrames));
        const Progress progress = step(silentInputs.data(), frames, wasteOutputs.data(), kChunkFrames);
        left -= progress.inputUsed;
        leadInLeft -= progress.outputMade;
        moved = progress.inputUsed > 0 || progress.outputMade > 0;
    }
}

/// How many of `outFrames` frames may still come: once the input has ended, no more than it lasted.
uint32_t RateConverter::Impl::roomFor(uint32_t outFrames) const noexcept
{
    if (!ended)
        return outFrames;
    return static_cast<uint32_t>(std::min<int64_t>(outFrames, divideUp(taken * outStep, inStep) - made));
}

/// One step from the input, or from silence after its end, into `out`, or nowhere during the lead-in.
RateConverter::Progress RateConverter::Impl::stepFrom(const float *const *in, uint32_t inFrames, uint32_t room,
                                                      float *const *out) noexcept
{
    const bool dropping = leadInLeft > 0;
    const Progress moved =
        step(ended ? silentInputs.data() : in, ended ? kChunkFrames : inFrames, dropping ? wasteOutputs.data() : out,
             dropping ? static_cast<uint32_t>(std::min<int64_t>(leadInLeft, kChunkFrames)) : room);
    leadInLeft -= dropping ? moved.outputMade : 0;
    made += dropping ? 0 : moved.outputMade;
    if (!ended)
        taken += moved.inputUsed;
    return moved;
}

Result<std::unique_ptr<RateConverter>> RateConverter::make(double inRate, double outRate, uint32_t channels,
                                                           uint32_t maximumFrames)
{
    if (!isRate(inRate) || !isRate(outRate) || channels == 0 || channels > kMaximumChannels || maximumFrames == 0)
        return kAudioUnitErr_FormatNotSupported;
    auto impl = std::make_unique<Impl>(std::llround(inRate), std::llround(outRate), channels);
    if (!impl->resampler)
        return kAudioUnitErr_FailedInitialization;
    impl->start();
    return std::unique_ptr<RateConverter>(new RateConverter(std::move(impl)));
}

RateConverter::RateConverter(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

RateConverter::~RateConverter() = default;

RateConverter::Progress RateConverter::process(const float *const *in, uint32_t inFrames, float *const *out,
                                               uint32_t outFrames) noexcept
{
    Impl &impl = *impl_;
    impl.ended = impl.ended || in == nullptr;
    Progress total{0, 0};
    for (;;) {
        const uint32_t room = impl.roomFor(outFrames - total.outputMade);
        if (room == 0)
            return total;
        for (std::size_t c = 0; c < impl.outputs.size(); ++c) {
            impl.inputs[c] = impl.ended ? nullptr : in[c] + total.inputUsed;
            impl.outputs[c] = out[c] + total.outputMade;
        }
        const bool dropping = impl.leadInLeft > 0;
        const Progress moved = impl.stepFrom(impl.inputs.data(), inFrames - total.inputUsed, room, impl.outputs.data());
        if (moved.inputUsed == 0 && moved.outputMade == 0)
            return total;
        total.inputUsed += impl.ended ? 0 : moved.inputUsed;
        total.outputMade += dropping ? 0 : moved.outputMade;
    }
}

void RateConverter::reset() noexcept
{
    impl_->start();
}

RateConverter::Restart RateConverter::restartFor(int64_t wanted) const noexcept
{
    const int64_t first = std::max<int64_t>(wanted - impl_->preroll, 0) / impl_->outStep * impl_->outStep;
    return {first / impl_->outStep * impl_->inStep, std::max<int64_t>(wanted, 0) - first};
}

} // namespace kx
