#include "KXFW/Platform/Hardware/Backends/AlsaStream.h"

#include "KXFW/Platform/Foundation/StreamFormat.h"
#include "KXFW/Platform/Hardware/Backends/StreamBuffer.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <optional>

namespace
{

using kx::alsa;
using kx::AlsaEnd;
using kx::AlsaLibrary;

using HardwareParameters = std::unique_ptr<snd_pcm_hw_params_t, AlsaEnd<&AlsaLibrary::pcm_hw_params_free>>;
using SoftwareParameters = std::unique_ptr<snd_pcm_sw_params_t, AlsaEnd<&AlsaLibrary::pcm_sw_params_free>>;

struct Granted {
    AudioStreamBasicDescription format;
    uint32_t bufferFrames;
};

/// In the order of what they keep of a float; the first that the device, or the plugin before it, takes.
std::optional<AudioStreamBasicDescription> setFormat(snd_pcm_t *pcm, snd_pcm_hw_params_t *parameters, uint32_t rate,
                                                     uint32_t channels)
{
    constexpr bool isBig = std::endian::native == std::endian::big;
    constexpr uint32_t order = isBig ? uint32_t{kAudioFormatFlagIsBigEndian} : 0;
    if (alsa().pcm_hw_params_set_format(pcm, parameters, SND_PCM_FORMAT_S32) >= 0)
        return kx::interleaved(rate, channels, 32, kAudioFormatFlagIsSignedInteger | order);
    if (alsa().pcm_hw_params_set_format(pcm, parameters, SND_PCM_FORMAT_FLOAT) >= 0)
        return kx::interleaved(rate, channels, 32, kAudioFormatFlagIsFloat | order);
    if (alsa().pcm_hw_params_set_format(pcm, parameters, SND_PCM_FORMAT_S16) >= 0)
        return kx::interleaved(rate, channels, 16, kAudioFormatFlagIsSignedInteger | order);
    return std::nullopt;
}

/// The rate is the device's own: we convert better than the plugins do.
std::optional<Granted> setHardware(snd_pcm_t *pcm, uint32_t sliceFrames)
{
    snd_pcm_hw_params_t *made = nullptr;
    alsa().pcm_hw_params_malloc(&made);
    const HardwareParameters parameters(made);
    auto rate = static_cast<unsigned>(kx::kCanonicalSampleRate);
    unsigned channels = 2;
    if (!parameters || alsa().pcm_hw_params_any(pcm, made) < 0)
        return std::nullopt;
    alsa().pcm_hw_params_set_rate_resample(pcm, made, 0); // a wish: the next call gives what is there
    if (alsa().pcm_hw_params_set_access(pcm, made, SND_PCM_ACCESS_RW_INTERLEAVED) < 0 ||
        alsa().pcm_hw_params_set_channels_near(pcm, made, &channels) < 0 || channels > kx::kMaximumChannels ||
        alsa().pcm_hw_params_set_rate_near(pcm, made, &rate, static_cast<int *>(nullptr)) < 0)
        return std::nullopt;
    const auto format = setFormat(pcm, made, rate, channels);
    snd_pcm_uframes_t period = sliceFrames;
    snd_pcm_uframes_t buffer = kx::bufferFrames(rate, sliceFrames);
    if (!format || alsa().pcm_hw_params_set_period_size_near(pcm, made, &period, static_cast<int *>(nullptr)) < 0 ||
        alsa().pcm_hw_params_set_buffer_size_near(pcm, made, &buffer) < 0 || alsa().pcm_hw_params(pcm, made) < 0 ||
        alsa().pcm_hw_params_get_buffer_size(made, &buffer) < 0 || buffer == 0 || buffer > UINT32_MAX)
        return std::nullopt;
    return Granted{*format, static_cast<uint32_t>(buffer)};
}

/// Sound starts when half of the buffer is full; who waits is woken for a slice's room.
bool setSoftware(snd_pcm_t *pcm, uint32_t sliceFrames, uint32_t bufferFrames)
{
    snd_pcm_sw_params_t *made = nullptr;
    alsa().pcm_sw_params_malloc(&made);
    const SoftwareParameters parameters(made);
    return parameters && alsa().pcm_sw_params_current(pcm, made) >= 0 &&
           alsa().pcm_sw_params_set_start_threshold(pcm, made, std::max(bufferFrames / 2, 1u)) >= 0 &&
           alsa().pcm_sw_params_set_avail_min(pcm, made, sliceFrames) >= 0 && alsa().pcm_sw_params(pcm, made) >= 0;
}

} // namespace

kx::StatusOr<std::unique_ptr<kx::AlsaStream>> kx::AlsaStream::open(const std::string &device, uint32_t sliceFrames)
{
    snd_pcm_t *opened = nullptr;
    const int result = alsa().pcm_open(&opened, device.c_str(), SND_PCM_STREAM_PLAYBACK, SND_PCM_NONBLOCK);
    if (result == -ENODEV || result == -ENOENT)
        return kAudioHardwareBadDeviceError;
    if (result < 0)
        return kAudioHardwareNotRunningError; // in use, or what it leads to is not there
    PCM pcm(opened);
    const auto granted = setHardware(opened, sliceFrames);
    // Less than a slice where the buffer is small: the other half plays meanwhile.
    const uint32_t portion = granted ? std::clamp(granted->bufferFrames / 2, 1u, sliceFrames) : 0;
    if (!granted || !setSoftware(opened, portion, granted->bufferFrames))
        return kAudioHardwareUnspecifiedError;
    return std::unique_ptr<AlsaStream>(new AlsaStream(std::move(pcm), granted->format, portion, granted->bufferFrames));
}

kx::AlsaStream::AlsaStream(PCM pcm, const AudioStreamBasicDescription &format, uint32_t sliceFrames,
                           uint32_t bufferFrames)
    : pcm_(std::move(pcm)), format_(format), sliceFrames_(sliceFrames), bufferFrames_(bufferFrames),
      clock_(format.mSampleRate)
{
    const auto count = static_cast<unsigned>(std::max(alsa().pcm_poll_descriptors_count(pcm_.get()), 0));
    descriptors_.resize(count + 1);
    alsa().pcm_poll_descriptors(pcm_.get(), descriptors_.data(), count);
    descriptors_.back() = {end_->descriptor(), POLLIN, 0};
}

kx::AlsaStream::~AlsaStream()
{
    alsa().pcm_drop(pcm_.get());
}

/// Frames that the device takes now; a device that ran dry is made ready again.
uint32_t kx::AlsaStream::room()
{
    const snd_pcm_sframes_t available = alsa().pcm_avail_update(pcm_.get());
    if (available < 0) {
        recover(available);
        return 0;
    }
    noteHeard();
    return static_cast<uint32_t>(std::min<snd_pcm_sframes_t>(available, bufferFrames_));
}

void kx::AlsaStream::recover(long error)
{
    if (error == -EPIPE) {
        underruns_ += isDraining_ ? 0 : 1;
        clock_.settle(written_);
    }
    // A suspended device may not be able to go on where it was.
    const bool isResumed = error == -ESTRPIPE && alsa().pcm_resume(pcm_.get()) >= 0;
    if (isResumed || error == -EAGAIN || error == -EINTR || alsa().pcm_prepare(pcm_.get()) >= 0)
        return;
    end_->lose(kAudioHardwareBadDeviceError);
}

void kx::AlsaStream::noteHeard() noexcept
{
    snd_pcm_sframes_t held = 0;
    if (alsa().pcm_delay(pcm_.get(), &held) < 0)
        return;
    const uint64_t written = written_;
    const auto behind = static_cast<uint64_t>(std::max<snd_pcm_sframes_t>(held, 0));
    clock_.tell(Clock::now(), written - std::min(behind, written), written);
}

void kx::AlsaStream::waitForDevice(Clock::time_point deadline)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    poll(descriptors_.data(), descriptors_.size(), static_cast<int>(std::max<int64_t>(left, 0)) + 1);
    unsigned short events = 0; // what the device says of itself; that it has to be asked is all we need
    alsa().pcm_poll_descriptors_revents(pcm_.get(), descriptors_.data(), static_cast<unsigned>(descriptors_.size() - 1),
                                        &events);
}

kx::StatusOr<uint32_t> kx::AlsaStream::waitForRoom()
{
    const auto deadline = Clock::now() + kLongestWait;
    uint32_t frames = 0;
    while (!end_->hasCome() && (frames = room()) < sliceFrames_ && Clock::now() < deadline)
        waitForDevice(deadline);
    if (end_->isInterrupted())
        return 0u;
    if (const OSStatus loss = end_->loss(); loss != noErr)
        return loss;
    return frames < sliceFrames_ ? 0u : sliceFrames_;
}

OSStatus kx::AlsaStream::write(const void *interleaved, uint32_t frames)
{
    const auto *bytes = static_cast<const std::byte *>(interleaved);
    const auto deadline = Clock::now() + kLongestWait;
    while (frames > 0 && !end_->hasCome()) {
        if (Clock::now() >= deadline)
            return kAudioHardwareUnspecifiedError;
        const snd_pcm_sframes_t taken = alsa().pcm_writei(pcm_.get(), bytes, frames);
        if (taken == -EAGAIN || taken == 0)
            waitForDevice(deadline); // there is less room than there was: it ran dry meanwhile
        else if (taken < 0)
            recover(taken);
        else {
            written_ += static_cast<uint64_t>(taken);
            frames -= static_cast<uint32_t>(taken);
            bytes += static_cast<std::size_t>(taken) * format_.mBytesPerFrame;
        }
    }
    return end_->isInterrupted() ? noErr : end_->loss();
}

/// The device runs dry, which ends what it plays, and is made ready again. The library's own drain waits in some
/// plugins although it was told not to.
void kx::AlsaStream::drain()
{
    if (alsa().pcm_state(pcm_.get()) == SND_PCM_STATE_PREPARED && latencyFrames() > 0)
        alsa().pcm_start(pcm_.get()); // less than makes it start by itself
    isDraining_ = true;
    const std::chrono::duration<double> held(latencyFrames() / format_.mSampleRate);
    const auto deadline = Clock::now() + kLongestWait + std::chrono::duration_cast<Clock::duration>(held);
    while (!end_->hasCome() && alsa().pcm_state(pcm_.get()) == SND_PCM_STATE_RUNNING && Clock::now() < deadline) {
        if (room() >= bufferFrames_ && heardFrames() >= written_)
            break;
        pollfd ending{end_->descriptor(), POLLIN, 0};
        poll(&ending, 1, 5); // a device with room is ready at once: there is nothing else to wait for
    }
    if (!end_->hasCome() && alsa().pcm_state(pcm_.get()) != SND_PCM_STATE_PREPARED) {
        alsa().pcm_drop(pcm_.get());
        alsa().pcm_prepare(pcm_.get());
        clock_.settle(written_);
    }
    isDraining_ = false;
}

void kx::AlsaStream::halt()
{
    if (end_->loss() != noErr || alsa().pcm_state(pcm_.get()) != SND_PCM_STATE_RUNNING)
        return;
    noteHeard();
    const uint64_t heard = heardFrames();
    alsa().pcm_drop(pcm_.get());
    clock_.tell(Clock::now(), heard, heard);
}

uint64_t kx::AlsaStream::heardFrames() const noexcept
{
    return clock_.heardAt(Clock::now());
}

uint32_t kx::AlsaStream::latencyFrames() const noexcept
{
    const uint64_t heard = heardFrames(); // first: what is written only grows
    return static_cast<uint32_t>(written_ - heard);
}
