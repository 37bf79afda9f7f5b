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

constexpr int64_t kStageFrames = 512; ///< at most so many frames at either side of the library at once

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

/// Input frames of silence that make every buffer of the library as large as it will need: found by counting
/// allocations. Where the rate rises steeply there are fewer of them, for what they become has to be held.
std::size_t leadInFrames(int64_t inRate, int64_t outRate)
{
    constexpr int64_t outputs = 8192;
    constexpr int64_t inputs = 4096;
    constexpr int64_t mostOutputs = 1 << 18;
    const int64_t frames = std::max(outputs * inRate / outRate, std::min(inputs, mostOutputs * inRate / outRate));
    return static_cast<std::size_t>(frames);
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

/// One array a channel, and the frames of it that are in use.
struct Stage {
    Stage(uint32_t channels, uint32_t frames) : room(frames), samples(std::size_t{channels} * frames), planes(channels)
    {
        for (std::size_t c = 0; c < channels; ++c)
            planes[c] = samples.data() + c * frames;
    }

    uint32_t room;
    uint32_t begin = 0;
    uint32_t end = 0;
    std::vector<float> samples;
    std::vector<float *> planes;
};

} // namespace

/// The library is always called in the same way: a full stage of input, then all that it makes of it. So its buffers
/// stop growing after the start, and what it makes cannot depend on the caller's blocks.
///
/// Its own start is not used as it stands, for its first frames lack a part of the filter: silence leads in, whose
/// output is dropped. Nor is its flush: silence follows the input, until as much came out as the input lasted.
struct RateConverter::Impl {
    Impl(int64_t inRate, int64_t outRate, uint32_t channels);

    void start() noexcept;
    void burst() noexcept;
    void call(uint32_t inFrames) noexcept;
    bool refill() noexcept;
    uint32_t take(const float *const *in, uint32_t at, uint32_t frames) noexcept;
    uint32_t takeSilence(int64_t frames) noexcept;
    uint32_t give(float *const *out, uint32_t at, uint32_t frames) noexcept;
    uint32_t giveSilence(float *const *out, uint32_t at, uint32_t frames) noexcept;
    int64_t leftToMake() const noexcept { return divideUp(taken * outStep, inStep) - made; }

    int64_t outStep; ///< output frames of the shortest stretch that holds whole numbers of both
    int64_t inStep;  ///< input frames of the same
    int64_t preroll; ///< output frames
    Resampler resampler;
    std::vector<float> silence; ///< the lead-in
    std::vector<const float *> silentPlanes;
    Stage input;
    Stage output;
    int64_t leadInLeft = 0; ///< output frames to drop
    int64_t taken = 0;      ///< input frames since the start
    int64_t made = 0;       ///< output frames since the start
    bool dry = true;        ///< the library has given all that it can without more input
    bool ended = false;
    bool failed = false; ///< out of memory inside the library: what is missing at the end becomes silence
};

RateConverter::Impl::Impl(int64_t inRate, int64_t outRate, uint32_t channels)
    : outStep(outRate / std::gcd(inRate, outRate)), inStep(inRate / std::gcd(inRate, outRate)),
      preroll(std::max<int64_t>(512, divideUp(256 * outRate, inRate))),
      resampler(makeResampler(inRate, outRate, channels)), silence(leadInFrames(inRate, outRate)),
      silentPlanes(channels, silence.data()),
      input(channels, static_cast<uint32_t>(std::clamp<int64_t>(kStageFrames * inRate / outRate, 1, kStageFrames))),
      output(channels, static_cast<uint32_t>(std::max<int64_t>(kStageFrames, divideUp(outRate, inRate) + 1)))
{
}

/// Gives the library `inFrames` frames of the input stage and takes what fits into the output stage.
void RateConverter::Impl::call(uint32_t inFrames) noexcept
{
    std::size_t used = 0;
    std::size_t got = 0;
    if (soxr_process(resampler.get(), input.planes.data(), inFrames, &used, output.planes.data(), output.room, &got)) {
        failed = true;
        got = 0;
    }
    dry = got < output.room;
    output.begin = static_cast<uint32_t>(std::min<int64_t>(leadInLeft, static_cast<int64_t>(got)));
    output.end = static_cast<uint32_t>(got);
    leadInLeft -= output.begin;
}

/// Fills the empty output stage from what the library holds or makes of a full input stage; false: it needs more input.
bool RateConverter::Impl::refill() noexcept
{
    if (!dry) {
        call(0);
    } else if (input.end == input.room) {
        call(input.room);
        input.end = 0;
    } else {
        return false;
    }
    return true;
}

uint32_t RateConverter::Impl::take(const float *const *in, uint32_t at, uint32_t frames) noexcept
{
    frames = std::min(frames, input.room - input.end);
    for (std::size_t c = 0; c < input.planes.size() && frames > 0; ++c)
        std::copy_n(in[c] + at, frames, input.planes[c] + input.end);
    input.end += frames;
    taken += frames;
    return frames;
}

uint32_t RateConverter::Impl::takeSilence(int64_t frames) noexcept
{
    const auto fitting = static_cast<uint32_t>(std::min<int64_t>(frames, input.room - input.end));
    for (float *plane : input.planes)
        std::fill_n(plane + input.end, fitting, 0.0F);
    input.end += fitting;
    return fitting;
}

uint32_t RateConverter::Impl::give(float *const *out, uint32_t at, uint32_t frames) noexcept
{
    frames = std::min(frames, output.end - output.begin);
    for (std::size_t c = 0; c < output.planes.size() && frames > 0; ++c)
        std::copy_n(output.planes[c] + output.begin, frames, out[c] + at);
    output.begin += frames;
    made += frames;
    return frames;
}

uint32_t RateConverter::Impl::giveSilence(float *const *out, uint32_t at, uint32_t frames) noexcept
{
    for (std::size_t c = 0; c < output.planes.size(); ++c)
        std::fill_n(out[c] + at, frames, 0.0F);
    made += frames;
    return frames;
}

/// Puts the whole lead-in into the library: far more at once than it gets later.
void RateConverter::Impl::burst() noexcept
{
    soxr_process(resampler.get(), silentPlanes.data(), silence.size(), nullptr, output.planes.data(), 0, nullptr);
    dry = false;
}

void RateConverter::Impl::start() noexcept
{
    soxr_clear(resampler.get());
    input.end = output.begin = output.end = 0;
    taken = made = 0;
    ended = failed = false;
    const auto burstFrames = static_cast<int64_t>(silence.size());
    const int64_t steps = divideUp(burstFrames, inStep);
    leadInLeft = steps * outStep;
    burst();
    for (int64_t left = steps * inStep - burstFrames; refill() || left > 0;)
        left -= takeSilence(left);
}

StatusOr<std::unique_ptr<RateConverter>> RateConverter::make(double inRate, double outRate, uint32_t channels,
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
    if (impl.ended)
        outFrames = static_cast<uint32_t>(std::min<int64_t>(outFrames, impl.leftToMake()));
    Progress done{0, 0};
    for (;;) {
        done.outputMade += impl.give(out, done.outputMade, outFrames - done.outputMade);
        if (impl.ended && impl.failed)
            done.outputMade += impl.giveSilence(out, done.outputMade, outFrames - done.outputMade);
        if (done.outputMade == outFrames)
            return done;
        if (impl.refill())
            continue;
        if (impl.ended) {
            impl.takeSilence(impl.input.room);
            continue;
        }
        const uint32_t taken = impl.take(in, done.inputUsed, inFrames - done.inputUsed);
        done.inputUsed += taken;
        if (taken == 0)
            return done;
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
