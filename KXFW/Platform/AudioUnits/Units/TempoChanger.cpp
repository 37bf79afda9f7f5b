/// @file
/// How sequences are laid, and what makes them end where they are told to.
///
///     source     [seek|====== sequence ======|overlap]
///                  |-------- step -------->[seek|====== sequence ======|overlap]
///                position()              position() of the next
///     changed    [===== sequenceOut_ =====|===== sequenceOut_ =====|
///
/// The library looks within the seek window for the place where the source fits best behind what it gave last, fades
/// over the overlap, and appends sequenceOut_ frames, whatever the tempo; then it lets go of `step` source frames,
/// which is the tempo times sequenceOut_, cut to whole frames. So the tempo that is set for one sequence only says
/// where the next one begins. It is chosen for each: from where this one stands to where the line is when it ends. An
/// error made in one sequence, by a change of tempo or by rounding, is gone with the next, and the place found in the
/// seek window never adds up, because it does not move position().
///
/// The library makes as many sequences as what it was fed allows. It is fed in small chunks and asked after each, and
/// `tempoTo` keeps steps so long that what is left over is not enough for another one: one call makes one sequence.
#include "KXFW/Platform/AudioUnits/Units/TempoChanger.h"

#include <soundtouch/SoundTouch.h>

#include <algorithm>
#include <cmath>

namespace kx
{

namespace
{

constexpr int kSampleRate = 44100;
constexpr int kOverlapMs = 8;
constexpr int kOverlapFrames = 352;   ///< of 8 ms, in whole eights
constexpr uint32_t kChunk = 64;       ///< frames fed at a time; a sequence moves on by as many at least
constexpr int64_t kRetained = 3;      ///< frames that stay in the library's rate changer, which is not used
constexpr double kLongestStep = 5648; ///< source frames from a sequence to the next
constexpr double kWidestStep = kLongestStep + TempoChanger::kPatience;

struct Shape {
    int sequenceMs;
    int seekMs;
};

/// The library's own choice, long sequences for slow tempos and short ones for fast; beyond 4 times shorter still, so
/// that the look-ahead does not grow.
Shape shapeOf(double tempo)
{
    const double beyondHalf = std::clamp(tempo, 0.5, 2.0) - 0.5;
    const double sequence = 90 - beyondHalf * 50 / 1.5;
    const double longest = (kLongestStep / tempo + kOverlapFrames) * 1000 / kSampleRate;
    return {static_cast<int>(std::min(sequence, longest)), static_cast<int>(20 - beyondHalf * 5 / 1.5)};
}

} // namespace

TempoChanger::TempoChanger()
    : touch_(std::make_unique<soundtouch::SoundTouch>()), interleaved_(std::size_t{kLongestOutput} * kChannels)
{
    touch_->setSampleRate(kSampleRate);
    touch_->setChannels(kChannels);
    touch_->setSetting(SETTING_USE_AA_FILTER, 0); // of the rate changer
    touch_->setSetting(SETTING_OVERLAP_MS, kOverlapMs);
    growBuffers();
}

TempoChanger::~TempoChanger() = default;
TempoChanger::TempoChanger(TempoChanger &&) noexcept = default;
TempoChanger &TempoChanger::operator=(TempoChanger &&) noexcept = default;

/// The library's buffers grow when they have to: here, with silence, so that they never do later.
void TempoChanger::growBuffers()
{
    const PlanarFifo silence(kChannels, 0);
    PlanarFifo out(kChannels, 2 * kLongestOutput);
    for (const double tempo : {kSlowest, kFastest, 1.0, kFastest, kSlowest}) {
        for (int i = 0; i < 8; ++i) {
            out.restart(0);
            makeNext(silence, 0, {0, position() + kWidestStep, tempo}, out);
        }
        shapeFor(tempo);
    }
    start(0);
}

void TempoChanger::start(int64_t sourceFrame) noexcept
{
    touch_->clear();
    start_ = fed_ = sourceFrame;
    isFirst_ = true;
}

/// Where the search for the best place begins is seen by what the library has let go of; its middle is the place that
/// is aimed at.
double TempoChanger::position() const noexcept
{
    if (isFirst_)
        return static_cast<double>(start_);
    return static_cast<double>(fed_ - kRetained - touch_->numUnprocessedSamples()) + seekFrames_ / 2.0;
}

/// A sequence plays on at its own speed: at slow tempos it runs ahead of the line, and an onset is heard with the first
/// sequence that reaches it, near that one's end. So that onsets keep their time sequences begin earlier by this.
double TempoChanger::allowance(double tempo) const noexcept
{
    return tempo < 1 ? (1 - tempo) * (1 - tempo / 2) * sequenceOut_ : 0;
}

/// None within the allowance, which the first sequences after a start use up.
double TempoChanger::distance(const TempoLine &line, int64_t next) const noexcept
{
    const double ahead = position() - line.at(static_cast<double>(next));
    return ahead > 0 ? ahead : std::min(ahead + allowance(line.tempo), 0.0);
}

bool TempoChanger::canMakeNextOf(int64_t end) const noexcept
{
    return position() + seekFrames_ + sequenceOut_ + kOverlapFrames <= static_cast<double>(end);
}

void TempoChanger::shapeFor(double tempo) noexcept
{
    const Shape shape = shapeOf(tempo);
    if (shape.sequenceMs != sequenceMs_)
        touch_->setSetting(SETTING_SEQUENCE_MS, sequenceMs_ = shape.sequenceMs);
    if (shape.seekMs != seekMs_)
        touch_->setSetting(SETTING_SEEKWINDOW_MS, seekMs_ = shape.seekMs);
    seekFrames_ = kSampleRate * seekMs_ / 1000;
    sequenceOut_ = static_cast<uint32_t>(touch_->getSetting(SETTING_NOMINAL_OUTPUT_SEQUENCE));
}

/// The tempo with which the sequence at changed frame `from` ends on the line. The library's first sequence has an
/// arithmetic of its own, which the next one sets right.
double TempoChanger::tempoTo(const TempoLine &line, int64_t from) const noexcept
{
    if (isFirst_)
        return line.tempo;
    const double step =
        std::round(line.at(static_cast<double>(from + sequenceOut_)) - allowance(line.tempo) - position());
    constexpr double kTiny = 1e-7; // so that the library, which cuts, does not fall a frame short
    // So far that what was fed for longer sequences does not make several of these at once.
    const double inHand = touch_->numUnprocessedSamples();
    const double least = inHand + kChunk + 1 - sequenceOut_ - kOverlapFrames - seekFrames_;
    return (std::clamp(step, std::clamp(least, double{kChunk}, kWidestStep), kWidestStep) + kTiny) / sequenceOut_;
}

void TempoChanger::makeNext(const PlanarFifo &source, int64_t end, const TempoLine &line, PlanarFifo &out) noexcept
{
    shapeFor(line.tempo);
    touch_->setTempo(tempoTo(line, out.end()));
    while (touch_->isEmpty() != 0)
        feed(source, end);
    isFirst_ = false;
    take(out);
}

void TempoChanger::feed(const PlanarFifo &source, int64_t end) noexcept
{
    const auto held = static_cast<uint32_t>(std::clamp<int64_t>(end - fed_, 0, kChunk));
    for (uint32_t channel = 0; channel < kChannels; ++channel) {
        const float *const samples = held > 0 ? source.at(channel, fed_) : nullptr;
        for (uint32_t i = 0; i < kChunk; ++i)
            interleaved_[i * kChannels + channel] = i < held ? samples[i] : 0.0F;
    }
    touch_->putSamples(interleaved_.data(), kChunk);
    fed_ += kChunk;
}

void TempoChanger::take(PlanarFifo &out) noexcept
{
    const uint32_t frames = touch_->receiveSamples(interleaved_.data(), kLongestOutput);
    out.reserve(frames);
    for (uint32_t channel = 0; channel < kChannels; ++channel) {
        float *const target = out.at(channel, out.end());
        for (uint32_t i = 0; i < frames; ++i)
            target[i] = interleaved_[i * kChannels + channel];
    }
    out.append(frames);
}

} // namespace kx
