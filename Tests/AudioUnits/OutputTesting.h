#pragma once

#include "KXFW/Platform/Hardware/AudioObject.h"
#include "KXFW/Platform/Hardware/VirtualHardware.h"
#include "Tests/Support/Handshake.h"
#include "Tests/Support/UnitTesting.h"

#include <mutex>
#include <string>
#include <vector>

namespace kx::test
{

/// What the devices of the virtual system took, byte for byte.
class Recording
{
public:
    Recording()
    {
        VirtualHardware::instance().setCapture([this](const std::string &, std::span<const std::byte> block) {
            const std::lock_guard guard(lock_);
            bytes_.insert(bytes_.end(), block.begin(), block.end());
        });
    }
    ~Recording() { VirtualHardware::instance().setCapture({}); }
    Recording(const Recording &) = delete;
    Recording &operator=(const Recording &) = delete;

    template <class Sample> [[nodiscard]] std::vector<Sample> samples() const
    {
        const std::lock_guard guard(lock_);
        std::vector<Sample> all(bytes_.size() / sizeof(Sample));
        if (!all.empty())
            std::memcpy(all.data(), bytes_.data(), all.size() * sizeof(Sample));
        return all;
    }

    void clear()
    {
        const std::lock_guard guard(lock_);
        bytes_.clear();
    }

private:
    mutable std::mutex lock_;
    std::vector<std::byte> bytes_;
};

/// The first frames of the sequence of SequenceSource as native 16-bit stereo.
inline std::vector<int16_t> sequence(uint64_t frames)
{
    std::vector<int16_t> samples(frames * 2);
    for (uint64_t i = 0; i < samples.size(); ++i)
        samples[i] = sampleAt(i);
    return samples;
}

inline AudioObjectID defaultDevice()
{
    constexpr AudioObjectPropertyAddress kAddress{kAudioHardwarePropertyDefaultOutputDevice,
                                                  kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMaster};
    AudioObjectID device = 0;
    uint32_t size = sizeof device;
    EXPECT_EQ(AudioObjectGetPropertyData(kAudioObjectSystemObject, &kAddress, 0, nullptr, &size, &device), noErr);
    return device;
}

inline bool isRunning(AudioUnit unit)
{
    return get<uint32_t>(unit, kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global) != 0;
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
    Chain()
    {
        EXPECT_EQ(setFormat(converter, kAudioUnitScope_Input, kStandard), noErr);
        EXPECT_EQ(source.feed(converter), noErr);
        EXPECT_EQ(AudioUnitInitialize(converter), noErr);
        EXPECT_EQ(AudioUnitInitialize(output), noErr);
        EXPECT_EQ(connect(converter, output), noErr);
    }

    SequenceSource source;
    Converter converter;
    Output output;
};

/// One device, a clock by hand, and a recording of what the device takes.
class OutputUnitTest : public testing::Test
{
protected:
    OutputUnitTest() { plug({.name = "speaker"}); }

    void plug(const VirtualDevice &device, VirtualClock clock = VirtualClock::Manual)
    {
        hardware.setClock(clock);
        hardware.setDevices({device});
    }

    VirtualHardware &hardware = VirtualHardware::instance();
    Recording recording;
};

} // namespace kx::test
