#include "Apps/kxtool/Commands.h"
#include "Apps/kxtool/Failure.h"
#include "Apps/kxtool/Waiter.h"
#include "KXFW/KXFW.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

namespace kxtool
{

namespace
{

constexpr uint32_t kSynthBlockFrames = 65536;
constexpr double kRate = 44100.0;

constexpr AudioStreamBasicDescription kMonoFloats{
    kRate, kAudioFormatLinearPCM, kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked, 4, 1, 4, 1, 32, 0};

void requireSuccess(OSStatus status, const std::string &name)
{
    if (status != noErr)
        throw Failure(name, kx::statusText(status));
}

/// A WAVE file that takes its name when it is finished, and leaves nothing when it is not.
class WaveFile
{
public:
    explicit WaveFile(const std::string &name) : name_(name)
    {
        requireSuccess(ExtAudioFileCreateWithURL(name, kAudioFileWAVEType, &kMonoFloats, nullptr,
                                                 kAudioFileFlags_EraseFile, &file_),
                       name_);
    }
    ~WaveFile()
    {
        if (file_)
            ExtAudioFileAbandon(file_);
    }
    WaveFile(const WaveFile &) = delete;
    WaveFile &operator=(const WaveFile &) = delete;

    void write(std::vector<float> &samples, uint32_t frames)
    {
        const AudioBufferList list{1, {{1, frames * kMonoFloats.mBytesPerFrame, samples.data()}}};
        requireSuccess(ExtAudioFileWrite(file_, frames, &list), name_);
    }
    void finish() { requireSuccess(ExtAudioFileDispose(std::exchange(file_, nullptr)), name_); }

private:
    std::string name_;
    ExtAudioFileRef file_ = nullptr;
};

std::shared_ptr<KXOscillator> oscillatorOf(const OscillatorOptions &options)
{
    auto oscillator = std::make_shared<KXOscillator>();
    oscillator->setType(options.type);
    oscillator->setPitch(options.pitch);
    oscillator->setAmplitude(options.amplitude);
    return oscillator;
}

} // namespace

void synthesise(const SynthOptions &options)
{
    Waiter waiter;
    const auto oscillator = oscillatorOf(options.sound);
    if (options.isModulated)
        oscillator->setPitchLFO(oscillatorOf(options.modulation));
    WaveFile file(options.output);
    std::vector<float> block(kSynthBlockFrames);
    for (int64_t left = std::llround(options.seconds * kRate); left > 0; left -= kSynthBlockFrames) {
        if (waiter.wait(std::chrono::milliseconds(0)) == Waiter::Event::Signal)
            throw Failure(options.output, "cancelled");
        const auto frames = static_cast<uint32_t>(std::min<int64_t>(left, kSynthBlockFrames));
        oscillator->pull(block.data(), &frames);
        file.write(block, frames);
    }
    file.finish();
}

} // namespace kxtool
