/// @file
/// How the sound of a time-pitch unit is made, slice by slice. Three signals, each with frame numbers of its own; what
/// is held of them between two slices, while an effect is on:
///
///     source_    [.......|=================================)   as it was drawn
///                     heard_ <------- kLookAhead -------> end
///
///     changed_   [=======|==================)                  the source in another tempo
///                kKept  place_    some sequences, made when they are due
///
///     output             |--- frames --->                      changed_ read from place_ on, at the pitch's speed
///
/// `heard_` and `place_` mean the same moment. A slice of n frames moves `heard_` by n times the rate and `place_` by n
/// times the speed, in integers of 2^-32 frames, so that no sum depends on how the output was cut into slices. Between
/// them stands `line_`, which says where the source is to be heard in the changed signal; the tempo changer ends each
/// of its sequences on that line.
///
/// A slice draws first, then takes a new setting, then fills the output in blocks. It draws what `heard_` moves by: the
/// source ends kLookAhead behind `heard_` after every slice, whatever was made of it, and all that is drawn is played.
/// The look-ahead is enough, since no sequence is made more than a block before it is due, or much farther from the
/// line than kPatience: see TempoChanger.
///
/// A new setting draws a new line through the two places of now. Where what is in hand of the changed signal leads too
/// far from that, and where the input jumps, the changed signal begins anew at the source frame heard now:
///
///     old_                |~~~~ fades out ~~~~)
///     changed_   [========|~~~~ fades in ~~~~~|=============>
///                       place_             kFade later
///
/// What fades out is made of frames that are held after a slice of any length, so that a splice sounds the same however
/// the output is cut.
#include "KXFW/Platform/AudioUnits/Units/TimePitchRenderer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <utility>

namespace kx
{

namespace
{

constexpr uint32_t kChannels = TempoChanger::kChannels;
constexpr uint32_t kLookAhead = TempoChanger::kLookAhead;
constexpr uint32_t kBlock = 512;                        ///< output frames made at a time
constexpr uint32_t kHistory = SincInterpolator::kReach; ///< changed frames that interpolation looks back
constexpr uint32_t kKept = 2 * kHistory;                ///< and some more, for a move to whole frames
constexpr uint32_t kFade = 1024;                        ///< changed frames of a splice
constexpr uint32_t kMostJumps = 8; ///< of one slice, or an input that always jumps keeps it for ever
constexpr uint32_t kChangedCapacity = 3 * TempoChanger::kLongestOutput;

using Planes = std::array<float *, kChannels>;
using ConstPlanes = std::array<const float *, kChannels>;

Planes planesOf(const AudioBufferList &list, uint32_t from)
{
    Planes planes{};
    for (uint32_t i = 0; i < kChannels; ++i)
        planes[i] = static_cast<float *>((&list.mBuffers[0])[i].mData) + from;
    return planes;
}

Planes planesOf(PlanarFifo &fifo, int64_t index)
{
    Planes planes{};
    for (uint32_t i = 0; i < kChannels; ++i)
        planes[i] = fifo.at(i, index);
    return planes;
}

ConstPlanes constPlanesOf(const PlanarFifo &fifo, int64_t index)
{
    ConstPlanes planes{};
    for (uint32_t i = 0; i < kChannels; ++i)
        planes[i] = fifo.at(i, index);
    return planes;
}

void append(PlanarFifo &fifo, const ConstPlanes &frames, uint32_t count)
{
    fifo.reserve(count);
    for (uint32_t i = 0; i < kChannels; ++i)
        std::memcpy(fifo.at(i, fifo.end()), frames[i], count * sizeof(float));
    fifo.append(count);
}

} // namespace

TimePitchRenderer::TimePitchRenderer(TimePitchControl &control, uint32_t maximumFrames)
    : control_(control), maximumFrames_(maximumFrames), source_(kChannels, 2 * kLookAhead + 4 * maximumFrames),
      changed_(kChannels, kChangedCapacity), old_(kChannels, kKept + kFade), pulled_(kChannels, 1, 0)
{
    begin();
}

void TimePitchRenderer::reset() noexcept
{
    begin();
    control_.tellHeldFrames(0);
}

/// The source before its first frame is silence.
void TimePitchRenderer::begin() noexcept
{
    setting_ = {};
    heard_ = {};
    rate_ = speed_ = FixedFrames::stepOf(1);
    isHolding_ = false;
    source_.restart(-int64_t{kHistory});
    source_.reserve(kHistory);
    for (uint32_t i = 0; i < kChannels; ++i)
        std::fill_n(source_.at(i, source_.end()), kHistory, 0.0F);
    source_.append(kHistory);
    old_.restart(0);
}

void TimePitchRenderer::takePlace(Renderer *before) noexcept
{
    if (before)
        continueFrom(static_cast<TimePitchRenderer &>(*before));
    else
        control_.tellHeldFrames(0);
}

/// What is held fits: between two slices it does not depend on their length. The interpolator keeps nothing.
void TimePitchRenderer::continueFrom(TimePitchRenderer &before) noexcept
{
    setting_ = before.setting_;
    isHolding_ = before.isHolding_;
    isStraight_ = before.isStraight_;
    heard_ = before.heard_;
    place_ = before.place_;
    rate_ = before.rate_;
    speed_ = before.speed_;
    line_ = before.line_;
    shift_ = before.shift_;
    std::swap(changed_, before.changed_);
    std::swap(old_, before.old_);
    std::swap(tempo_, before.tempo_);
    const PlanarFifo &source = before.source_;
    source_.restart(source.begin());
    append(source_, constPlanesOf(source, source.begin()), static_cast<uint32_t>(source.end() - source.begin()));
}

OSStatus TimePitchRenderer::render(FrameSource &input, const AudioTimeStamp &time, uint32_t frames,
                                   AudioBufferList &out) noexcept
{
    const TimePitchSetting wanted = control_.setting();
    if (!isHolding_ && wanted.isNeutral())
        return passThrough(input, time, frames, out);
    if (!isHolding_)
        beginToHold();
    rate_ = FixedFrames::stepOf(wanted.rate); // the draw's, which comes first: a change may use what is drawn
    control_.tellHeldFrames(kLookAhead);
    if (const OSStatus status = draw(input, time, frames); status != noErr)
        return status;
    if (wanted != setting_)
        turnTo(wanted);
    for (uint32_t done = 0; done < frames; done += kBlock)
        fill(done, std::min(kBlock, frames - done), out);
    return noErr;
}

/// Bit for bit; the last frames are remembered, so that a change of setting goes on from them.
OSStatus TimePitchRenderer::passThrough(FrameSource &input, const AudioTimeStamp &time, uint32_t frames,
                                        AudioBufferList &out) noexcept
{
    if (const OSStatus status = input.pull(time, frames, out); status != noErr)
        return status;
    heard_.whole += frames;
    const uint32_t last = std::min(frames, kHistory);
    if (last == kHistory)
        source_.restart(heard_.whole - kHistory);
    const Planes end = planesOf(out, frames - last);
    append(source_, {end[0], end[1]}, last);
    source_.dropBefore(heard_.whole - kHistory);
    return noErr;
}

void TimePitchRenderer::beginToHold() noexcept
{
    isHolding_ = true;
    isStraight_ = true;
    shift_ = 0;
    changed_.restart(source_.begin());
    append(changed_, constPlanesOf(source_, source_.begin()), kHistory);
    place_ = heard_;
}

void TimePitchRenderer::turnTo(const TimePitchSetting &wanted) noexcept
{
    setting_ = wanted;
    speed_ = FixedFrames::stepOf(std::exp2(wanted.cents / 1200.0));
    const double tempo = static_cast<double>(rate_) / static_cast<double>(speed_);
    const TempoLine line{place_.value(), heard_.value(), tempo};
    const bool leaves = !isStraight_ && (tempo == 1 || strays(line));
    if (leaves)
        makeEnoughToFade(); // as it was going on
    line_ = line;
    if (leaves || (isStraight_ && wanted.isNeutral() && place_.fraction != 0)) {
        isStraight_ = tempo == 1;
        splice(); // to the source frame for frame, where it is neutral
    } else if (isStraight_ && tempo != 1) {
        isStraight_ = false;
        tempo_.start(changed_.end() + shift_);
    }
}

/// Whether what is in hand of the changed signal leads too far from where `line` wants it. Less is made good with the
/// next sequence.
bool TimePitchRenderer::strays(const TempoLine &line) const noexcept
{
    return std::abs(tempo_.distance(line, changed_.end())) > TempoChanger::kPatience;
}

/// The frames that come now are from another place: they are what is heard next, while what is in hand fades out.
/// Frames from a place between, drawn within this slice, are left out.
void TimePitchRenderer::jump() noexcept
{
    if (source_.end() - heard_.whole >= kLookAhead) {
        makeEnoughToFade();
        fadeOutInHand();
    }
    heard_ = {source_.end(), 0};
    beginAtHeard();
    source_.dropBefore(heard_.whole);
}

/// Of what is held in any case, so that the length of the slice does not matter.
void TimePitchRenderer::makeEnoughToFade() noexcept
{
    const int64_t held = heard_.whole + kLookAhead;
    while (changed_.end() < place_.whole + kFade + kHistory && (isStraight_ || tempo_.canMakeNextOf(held)))
        makeMore(held);
}

/// The changed signal begins anew at the source frame that is heard now, while what was in hand of it fades out.
void TimePitchRenderer::splice() noexcept
{
    fadeOutInHand();
    beginAtHeard();
}

void TimePitchRenderer::fadeOutInHand() noexcept
{
    putOnWholeFrames();
    const auto inHand = static_cast<uint32_t>(std::min<int64_t>(changed_.end() - place_.whole, kFade));
    old_.restart(place_.whole);
    append(old_, constPlanesOf(changed_, place_.whole), inHand);
    changed_.dropFrom(place_.whole);
}

void TimePitchRenderer::beginAtHeard() noexcept
{
    line_.changed = place_.value();
    line_.source = heard_.value();
    shift_ = heard_.whole - place_.whole;
    tempo_.start(heard_.whole);
}

/// Moves the changed signal by less than a frame, so that the place in it is a whole number. The oldest frames may have
/// no neighbours any more to be moved with: they stay, and weigh next to nothing.
void TimePitchRenderer::putOnWholeFrames() noexcept
{
    if (place_.fraction == 0)
        return;
    const uint32_t reach = SincInterpolator::reach(1);
    const int64_t from = std::max(place_.whole - kHistory, changed_.begin() + reach);
    const auto count = static_cast<uint32_t>(
        std::clamp<int64_t>(changed_.end() - reach - from, place_.whole - from, place_.whole - from + kFade));
    old_.restart(from);
    interpolator_.read(constPlanesOf(changed_, from).data(), kChannels, place_.fraction, FixedFrames::stepOf(1),
                       planesOf(old_, from).data(), count);
    old_.append(count);
    changed_.dropFrom(from);
    append(changed_, constPlanesOf(old_, from), count);
    place_.fraction = 0;
}

/// Source frames for a slice: as many as `heard_` moves by, and the look-ahead where it is not there yet.
OSStatus TimePitchRenderer::draw(FrameSource &input, const AudioTimeStamp &time, uint32_t frames) noexcept
{
    const auto missing = [&] { return heard_.after(frames, rate_).whole + kLookAhead - source_.end(); };
    for (uint32_t jumps = 0; missing() > 0;) {
        const auto count = static_cast<uint32_t>(std::min<int64_t>(missing(), maximumFrames_));
        source_.reserve(count);
        AudioBufferList &list = *pulled_.get();
        for (uint32_t i = 0; i < kChannels; ++i)
            (&list.mBuffers[0])[i].mData = source_.at(i, source_.end());
        const uint32_t before = input.discontinuities();
        if (const OSStatus status = input.pull(time, count, list); status != noErr)
            return status;
        if (input.discontinuities() != before && source_.end() > heard_.whole && jumps++ < kMostJumps)
            jump();
        source_.append(count);
    }
    return noErr;
}

void TimePitchRenderer::fill(uint32_t from, uint32_t frames, const AudioBufferList &out) noexcept
{
    const FixedFrames next = place_.after(frames, speed_);
    const Planes target = planesOf(out, from);
    if (speed_ == FixedFrames::stepOf(1) && place_.fraction == 0) {
        makeChangedUpTo(next.whole);
        for (uint32_t i = 0; i < kChannels; ++i)
            std::memcpy(target[i], changed_.at(i, place_.whole), frames * sizeof(float));
    } else {
        makeChangedUpTo(next.whole + SincInterpolator::reach(static_cast<double>(speed_) / FixedFrames::kOne) + 1);
        interpolator_.read(constPlanesOf(changed_, place_.whole).data(), kChannels, place_.fraction, speed_,
                           target.data(), frames);
    }
    place_ = next;
    heard_ = heard_.after(frames, rate_);
    letGo();
}

void TimePitchRenderer::makeChangedUpTo(int64_t end) noexcept
{
    while (changed_.end() < end)
        makeMore(source_.end());
}

void TimePitchRenderer::makeMore(int64_t sourceEnd) noexcept
{
    const int64_t from = changed_.end();
    if (isStraight_)
        continueSource();
    else
        tempo_.makeNext(source_, sourceEnd, line_, changed_);
    fadeIn(from);
}

void TimePitchRenderer::continueSource() noexcept
{
    const int64_t from = changed_.end() + shift_;
    const auto count = static_cast<uint32_t>(std::clamp<int64_t>(source_.end() - from, 1, kBlock));
    append(changed_, constPlanesOf(source_, from), count);
}

/// Fades from the signal before the last splice to the frames appended since `from`.
void TimePitchRenderer::fadeIn(int64_t from) noexcept
{
    const int64_t end = std::min(changed_.end(), old_.end());
    const auto length = static_cast<float>(old_.end() - old_.begin());
    for (uint32_t channel = 0; channel < kChannels && from < end; ++channel) {
        float *const samples = changed_.at(channel, from);
        const float *const before = old_.at(channel, from);
        for (int64_t i = 0; i < end - from; ++i) {
            const float gain = static_cast<float>(from - old_.begin() + i + 1) / length;
            samples[i] = before[i] + gain * (samples[i] - before[i]);
        }
    }
}

void TimePitchRenderer::letGo() noexcept
{
    changed_.dropBefore(place_.whole - kKept);
    source_.dropBefore(std::min(heard_.whole, isStraight_ ? changed_.end() + shift_ : tempo_.nextNeeded()));
}

} // namespace kx
