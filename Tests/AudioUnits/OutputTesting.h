#pragma once

#include "KXFW/Platform/Hardware/AudioObject.h"
#include "Tests/Support/Handshake.h"
#include "Tests/Support/ScopedVirtualHardware.h"
#include "Tests/Support/UnitTesting.h"

#include <mutex>
#include <string>
#include <vector>

namespace kx::test
{

/// The first frames of the sequence of SequenceSource as native 16-bit stereo.
inline std::vector<int16_t> sequence(uint64_t frames)
{
    std::vector<int16_t> samples(frames * 2);
    for (uint64_t i = 0; i < samples.size(); ++i)
        samples[i] = sampleAt(i);
    return samples;
}

/// A property of the output unit.
template <class T> T tell(AudioUnit unit, AudioUnitPropertyID property)
{
    return get<T>(unit, property, kAudioUnitScope_Global);
}

inline bool isRunning(AudioUnit unit)
{
    return tell<uint32_t>(unit, kAudioOutputUnitProperty_IsRunning) != 0;
}

inline OSStatus setDevice(AudioUnit unit, AudioObjectID device)
{
    return set(unit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, device);
}

inline OSStatus setVolume(AudioUnit unit, float volume)
{
    return AudioUnitSetParameter(unit, kHALOutputParam_Volume, kAudioUnitScope_Global, 0, volume, 0);
}

/// A player's chain in small: a 16-bit source, a converter, an output unit on the default device, initialised.
struct Chain {
    /// Of the sequence, or of what `work` gives.
    explicit Chain(Callback::Work work = {})
    {
        if (work)
            source.work = std::move(work);
        EXPECT_EQ(source.feed(converter), noErr);
        EXPECT_EQ(AudioUnitInitialize(converter), noErr);
        EXPECT_EQ(AudioUnitInitialize(output), noErr);
        EXPECT_EQ(connect(converter, output), noErr);
    }

    SequenceSource source;
    Converter converter{kStandard, kStereoFloat};
    Output output;
};

/// One device, a clock by hand, and what the device took.
class OutputUnitTest : public testing::Test
{
protected:
    OutputUnitTest()
    {
        plug({.name = "speaker"});
        hardware->setCapture([this](const std::string &, std::span<const std::byte> block) {
            const std::lock_guard guard(lock_);
            taken_.insert(taken_.end(), block.begin(), block.end());
        });
    }
    ~OutputUnitTest() override { hardware->setCapture({}); }

    void plug(const VirtualDevice &device, VirtualClock clock = VirtualClock::Manual)
    {
        hardware->setClock(clock);
        hardware->setDevices({device});
    }

    /// What the device took since the last call.
    template <class Sample> std::vector<Sample> heard()
    {
        const std::lock_guard guard(lock_);
        std::vector<Sample> all(taken_.size() / sizeof(Sample));
        if (!all.empty())
            std::memcpy(all.data(), taken_.data(), all.size() * sizeof(Sample));
        taken_.clear();
        return all;
    }

    ScopedVirtualHardware hardware{VirtualClock::Manual};

private:
    std::mutex lock_;
    std::vector<std::byte> taken_;
};

} // namespace kx::test
