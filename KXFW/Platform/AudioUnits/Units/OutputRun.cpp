#include "KXFW/Platform/AudioUnits/Units/OutputRun.h"

#include "KXFW/Platform/AudioUnits/Unit.h"
#include "KXFW/Platform/AudioUnits/Units/RenderThread.h"
#include "KXFW/Platform/Foundation/Backoff.h"
#include "KXFW/Platform/Foundation/MonotonicTime.h"
#include "KXFW/Platform/Foundation/NSLog.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

namespace kx
{

namespace
{

using namespace std::chrono_literals;

constexpr Backoff kReopen(500ms, 5000ms, 1); // doubles
constexpr auto kLongestStart = 800ms;        ///< with the end of an old run still within a second

/// The run whose render thread this is.
thread_local OutputRun *currentRun = nullptr;

} // namespace

OutputRun::OutputRun(std::shared_ptr<Unit> unit, OutputDevice device, uint32_t sliceFrames, uint64_t underruns)
    : unit_(std::move(unit)), handle_(unit_->handle()), device_(std::move(device)), sliceFrames_(sliceFrames),
      underruns_(underruns)
{
}

OutputRun::~OutputRun()
{
    // The last to let go may be the thread itself, or somebody who must not wait for it.
    if (thread_.joinable())
        thread_.detach();
}

void OutputRun::launch(const std::shared_ptr<OutputRun> &run)
{
    run->thread_ = std::thread([run] { run->main(); });
    std::unique_lock guard(run->lock_);
    run->changed_.wait_for(guard, kLongestStart, [&] { return run->opened_; });
}

bool OutputRun::endFromInside(AudioUnit handle) noexcept
{
    if (!currentRun || currentRun->handle_ != handle || currentRun->unit_->isDisposed())
        return false;
    State running = State::Running;
    currentRun->state_.compare_exchange_strong(running, State::Ending);
    return true;
}

void OutputRun::end()
{
    State running = State::Running;
    state_.compare_exchange_strong(running, State::Ending);
    const std::lock_guard guard(lock_);
    changed_.notify_all();
}

void OutputRun::cut()
{
    {
        const std::lock_guard guard(lock_);
        state_ = State::Cut;
        if (stream_)
            stream_->interrupt();
        changed_.notify_all();
    }
    if (thread_.joinable())
        thread_.join();
}

uint64_t OutputRun::underruns() const
{
    const std::lock_guard guard(lock_);
    return underruns_ + (stream_ ? stream_->underruns() : 0);
}

uint32_t OutputRun::latencyFrames() const
{
    const std::lock_guard guard(lock_);
    if (!stream_)
        return 0;
    return static_cast<uint32_t>(
        std::llround(stream_->latencyFrames() * kCanonicalSampleRate / stream_->format().mSampleRate));
}

double OutputRun::heardFrames() const
{
    const std::lock_guard guard(lock_);
    return heardFramesLocked();
}

double OutputRun::heardFramesLocked() const
{
    if (!stream_)
        return heardBefore_;
    const auto heard = static_cast<double>(stream_->heardFrames());
    return std::max(heardBefore_, openedAt_ + heard * kCanonicalSampleRate / stream_->format().mSampleRate);
}

void OutputRun::main()
{
    currentRun = this;
    nameThread("kx.render");
    // A device that plays to nowhere must not take the processor from threads that somebody waits for.
    if (const AudioObjectID device = numberOf(device_); device != kAudioObjectUnknown && !isVirtual(device))
        requestRealTimePriority();
    try {
        playStreams();
    } catch (const std::exception &error) {
        NSLog("output: the render thread ends: %s", error.what());
    }
    close();
    state_ = State::Cut;
    tellOpened();
    reportTrouble();
    currentRun = nullptr;
    unit_.reset(); // may be the last to let go
}

void OutputRun::playStreams()
{
    Backoff backoff = kReopen;
    while (isRunning()) {
        const OSStatus status = open();
        tellOpened();
        if (status == noErr) {
            backoff.reset();
            if (play() == Progress::AllWritten)
                return;
            close();
            NSLog("output: lost the device %s", device_.uid);
        }
        waitToReopen(device_.uid.empty() ? std::chrono::milliseconds::max() : backoff.next());
    }
}

/// The stream becomes known to other threads here. One that cut the run before found none to interrupt; `play` sees.
OSStatus OutputRun::open()
{
    auto opened = openOutputStream(numberOf(device_));
    if (!opened)
        return opened.status();
    const auto &format = (*opened)->format();
    auto conversion = FormatConversion::make(planarFloat(kCanonicalSampleRate, 2), format, sliceFrames_);
    if (!conversion)
        return conversion.status();
    conversion_ = *std::move(conversion);
    slice_.emplace(1, format.mChannelsPerFrame, sliceFrames_ * format.mBytesPerFrame);
    const std::lock_guard guard(lock_);
    stream_ = *std::move(opened);
    openedAt_ = sampleTime_;
    return noErr;
}

void OutputRun::tellOpened()
{
    const std::lock_guard guard(lock_);
    opened_ = true;
    changed_.notify_all();
}

void OutputRun::close()
{
    if (stream_)
        stream_->halt();
    std::unique_ptr<OutputStream> closed; // ends last, with no lock held
    const std::lock_guard guard(lock_);
    heardBefore_ = heardFramesLocked();
    if (stream_)
        underruns_ += stream_->underruns();
    closed = std::move(stream_);
}

void OutputRun::waitToReopen(std::chrono::milliseconds time)
{
    std::unique_lock guard(lock_);
    const auto over = [this] { return !isRunning(); };
    if (time == std::chrono::milliseconds::max())
        changed_.wait(guard, over);
    else
        changed_.wait_for(guard, time, over);
}

OutputRun::Progress OutputRun::play()
{
    auto progress = Progress::Wanting;
    while (progress == Progress::Wanting) {
        if (state_ == State::Cut)
            return Progress::AllWritten;
        const auto room = stream_->waitForRoom();
        progress = room ? fill(*room) : Progress::Lost;
    }
    if (progress == Progress::AllWritten)
        stream_->drain();
    return progress;
}

OutputRun::Progress OutputRun::fill(uint32_t room)
{
    const RenderScope scope;
    while (room > 0 && state_ != State::Cut) {
        const auto slice = conversion_->render(*this, {}, std::min(room, sliceFrames_), *slice_->get());
        if (slice.frames > 0 && !write(slice.frames))
            return Progress::Lost;
        const bool keeps = slice.frames > 0 && conversion_->keepsFrames();
        if (!isRunning() && !keeps)
            return Progress::AllWritten;
        room -= slice.frames;
    }
    return Progress::Wanting;
}

bool OutputRun::write(uint32_t frames)
{
    const RenderExemption exemption;
    return stream_->write(slice_->data(0), frames) == noErr;
}

void OutputRun::reportTrouble() const
{
    if (failedSlices_ > 0 && firstFailure_ != kAudioUnitErr_NoConnection)
        NSLog("output: %llu slices were silent, the first because of %s (%d)", failedSlices_, statusName(firstFailure_),
              firstFailure_);
}

/// One slice of the unit, silent where its input fails, so that the conversion never sees a failure.
OSStatus OutputRun::pull(const AudioTimeStamp &, uint32_t frames, AudioBufferList &list) noexcept
{
    AudioTimeStamp time{};
    time.mSampleTime = sampleTime_;
    time.mHostTime = monotonicTime();
    time.mFlags = kAudioTimeStampSampleTimeValid | kAudioTimeStampHostTimeValid;
    sampleTime_ += frames;
    for (uint32_t i = 0; i < list.mNumberBuffers; ++i)
        list.mBuffers[i].mDataByteSize = frames * static_cast<uint32_t>(sizeof(float));
    const OSStatus status = unit_->render(time, frames, list, nullptr);
    if (status != noErr) {
        silence(list);
        if (failedSlices_++ == 0)
            firstFailure_ = status;
    }
    return noErr;
}

} // namespace kx
