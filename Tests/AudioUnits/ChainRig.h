#pragma once

#include "Tests/Support/TestEffects.h"
#include "Tests/Support/UnitTesting.h"

#include <cmath>
#include <utility>
#include <vector>

namespace kx::test
{

/// A chain that is fed with frames of these numbers, from 1 on.
class ChainRig
{
public:
    explicit ChainRig(Effects effects)
        : chain(chainOf(std::move(effects))), feed_([this](const auto &, uint32_t frames, AudioBufferList &data) {
              for (uint32_t i = 0; i < frames; ++i)
                  for (uint32_t channel = 0; channel < 2; ++channel)
                      static_cast<float *>((&data.mBuffers[0])[channel].mData)[i] = static_cast<float>(next + i);
              next += frames;
              held = get<uint32_t>(chain.audioUnit(), kAudioUnitProperty_HeldFrames, kAudioUnitScope_Global);
              if (std::exchange(givesNoNumber, false))
                  *static_cast<float *>(data.mBuffers[0].mData) = std::nanf("");
              if (alwaysJumps)
                  jumpTo(next);
              if (pullsToJump > 0 && --pullsToJump == 0)
                  jumpTo(jumpsTo);
              return fails ? kAudioHardwareUnspecifiedError : noErr;
          })
    {
        EXPECT_EQ(feed_.feed(chain.audioUnit()), noErr);
        EXPECT_EQ(AudioUnitInitialize(chain.audioUnit()), noErr);
    }

    OSStatus render(uint32_t frames)
    {
        const BufferList list(2, 1, frames * static_cast<uint32_t>(sizeof(float)));
        const OSStatus status = AudioUnitRender(chain.audioUnit(), nullptr, nullptr, 0, frames, list.get());
        const auto *left = reinterpret_cast<const float *>(list.data(0));
        out.assign(left, left + frames);
        return status;
    }
    void jumpTo(uint32_t frame)
    {
        next = frame;
        feed_.flagsOfNext = kAudioUnitRenderAction_Discontinuity;
    }
    void expectFrom(uint32_t first, uint32_t frames)
    {
        ASSERT_EQ(render(frames), noErr);
        for (uint32_t i = 0; i < frames; ++i)
            ASSERT_EQ(out[i], static_cast<float>(first + i)) << "frame " << i << " of " << frames;
    }

    EffectChain chain;
    uint32_t next = 1;
    uint32_t held = 0; ///< as it was told to the source of the chain
    bool fails = false;
    bool givesNoNumber = false; ///< with the next pull
    bool alwaysJumps = false;
    uint32_t pullsToJump = 0; ///< then to
    uint32_t jumpsTo = 0;
    std::vector<float> out;

private:
    Callback feed_;
};

} // namespace kx::test
