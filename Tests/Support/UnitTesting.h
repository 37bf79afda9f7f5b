#pragma once

#include "KXFW/Platform/AudioUnits/AudioUnit.h"
#include "KXFW/Platform/Foundation/BufferList.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <utility>
#include <vector>

namespace kx::test
{

inline constexpr AudioStreamBasicDescription kStereoFloat = planarFloat(44100, 2);
inline constexpr AudioStreamBasicDescription kStandard =
    interleaved(44100, 2, 16, kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsBigEndian);
inline constexpr AudioStreamBasicDescription kNative16 = interleaved(44100, 2, 16, kAudioFormatFlagIsSignedInteger);

/// A unit of the platform by its type, disposed of at the end.
class OwnedUnit
{
public:
    explicit OwnedUnit(FourCharCode type) : OwnedUnit({type, 0, kAudioUnitManufacturer_Platform, 0, 0}) {}
    explicit OwnedUnit(const AudioComponentDescription &wanted)
    {
        EXPECT_EQ(AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &wanted), &unit_), noErr);
    }
    explicit OwnedUnit(AudioUnit unit) : unit_(unit) {}
    ~OwnedUnit() { dispose(); }
    OwnedUnit(const OwnedUnit &) = delete;
    OwnedUnit &operator=(const OwnedUnit &) = delete;

    operator AudioUnit() const noexcept { return unit_; } // NOLINT: stands for the handle
    OSStatus dispose() { return unit_ ? AudioComponentInstanceDispose(std::exchange(unit_, nullptr)) : noErr; }

private:
    AudioUnit unit_ = nullptr;
};

template <class T> OSStatus set(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope, const T &value)
{
    return AudioUnitSetProperty(unit, property, scope, 0, &value, sizeof value);
}

template <class T> T get(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope)
{
    T value{};
    uint32_t size = sizeof value;
    EXPECT_EQ(AudioUnitGetProperty(unit, property, scope, 0, &value, &size), noErr);
    return value;
}

inline OSStatus setFormat(AudioUnit unit, AudioUnitScope scope, const AudioStreamBasicDescription &format)
{
    return set(unit, kAudioUnitProperty_StreamFormat, scope, format);
}

inline AudioStreamBasicDescription format(AudioUnit unit, AudioUnitScope scope)
{
    return get<AudioStreamBasicDescription>(unit, kAudioUnitProperty_StreamFormat, scope);
}

inline OSStatus connect(AudioUnit source, AudioUnit destination)
{
    return set(destination, kAudioUnitProperty_MakeConnection, kAudioUnitScope_Input,
               AudioUnitConnection{source, 0, 0});
}

struct Converter : OwnedUnit {
    Converter() : OwnedUnit(kAudioUnitType_FormatConverter) {}
    Converter(const AudioStreamBasicDescription &in, const AudioStreamBasicDescription &out) : Converter()
    {
        EXPECT_EQ(setFormat(*this, kAudioUnitScope_Input, in), noErr);
        EXPECT_EQ(setFormat(*this, kAudioUnitScope_Output, out), noErr);
    }
};

struct Output : OwnedUnit {
    Output() : OwnedUnit(kAudioUnitType_Output) {}
};

/// A render callback made of a function. Lives as long as it may be called.
struct Callback {
    using Work = std::function<OSStatus(const AudioTimeStamp &time, uint32_t frames, AudioBufferList &data)>;

    explicit Callback(Work does) : work(std::move(does)) {}

    OSStatus feed(AudioUnit unit)
    {
        return set(unit, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input,
                   AURenderCallbackStruct{&Callback::run, this});
    }

    Work work;
    AudioUnitRenderActionFlags flagsOfNext = 0; ///< what the next call sets

private:
    static OSStatus run(void *each, AudioUnitRenderActionFlags *flags, const AudioTimeStamp *time, uint32_t bus,
                        uint32_t frames, AudioBufferList *data)
    {
        EXPECT_TRUE(flags && bus == 0);
        auto *const self = static_cast<Callback *>(each);
        *flags |= std::exchange(self->flagsOfNext, 0);
        return self->work(*time, frames, *data);
    }
};

/// 16-bit sample number `index` of an endless sequence that does not repeat soon.
inline int16_t sampleAt(uint64_t index) noexcept
{
    return static_cast<int16_t>(static_cast<uint16_t>((index * 2654435761u) >> 8));
}

/// Frames `first` on of the sequence, two samples each, big-endian.
inline void writeFrames(uint64_t first, uint32_t frames, void *out) noexcept
{
    auto *bytes = static_cast<uint8_t *>(out);
    for (uint64_t i = first * 2; i < (first + frames) * 2; ++i) {
        const auto sample = static_cast<uint16_t>(sampleAt(i));
        *bytes++ = static_cast<uint8_t>(sample >> 8);
        *bytes++ = static_cast<uint8_t>(sample & 0xff);
    }
}

/// Gives the sequence in the standard format (44,100 Hz, 16 bit, big-endian, stereo), counting.
struct SequenceSource : Callback {
    SequenceSource()
        : Callback([this](const AudioTimeStamp &, uint32_t frames, AudioBufferList &data) {
              writeFrames(position, frames, data.mBuffers[0].mData);
              position += frames;
              ++calls;
              return noErr;
          })
    {
    }

    std::atomic<uint64_t> position{0}; ///< frames given so far
    std::atomic<uint64_t> calls{0};
};

/// Renders `frames` frames of `unit`, checked to succeed, as the bytes of all its buffers one after another.
inline std::vector<std::byte> renderBytes(AudioUnit unit, uint32_t frames)
{
    const auto layout = format(unit, kAudioUnitScope_Output);
    const uint32_t size = frames * layout.mBytesPerFrame;
    const BufferList list(bufferCount(layout), channelsPerBuffer(layout), size);
    const AudioTimeStamp time{};
    EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, 0, frames, list.get()), noErr) << frames << " frames";
    std::vector<std::byte> bytes;
    for (uint32_t i = 0; i < list.get()->mNumberBuffers; ++i)
        bytes.insert(bytes.end(), list.data(i), list.data(i) + size);
    return bytes;
}

} // namespace kx::test
