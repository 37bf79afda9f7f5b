#pragma once

#include "KXFW/Audio/KXAFiledAudioData2.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace kx::test
{

/// A frame of the standard description: 4 bytes, compared as a whole.
using Frame = uint32_t;

inline std::shared_ptr<KXAFiledAudioData2> open(const MediaSpec &spec)
{
    auto data = KXAFiledAudioData2::audioDataWithContentsOfURL(make(spec));
    if (!data)
        throw std::runtime_error("cannot open " + make(spec).string());
    return data;
}

/// Reads `count` frames, or as many as there are, in requests of `slice`.
inline std::vector<Frame> readFrames(KXAFiledAudioData2 &data, std::size_t count, uint32_t slice = 512)
{
    std::vector<Frame> frames(count);
    std::size_t done = 0;
    while (done < count) {
        const auto asked = static_cast<uint32_t>(std::min<std::size_t>(slice, count - done));
        uint32_t got = asked;
        data.readToBuffer(frames.data() + done, &got);
        done += got;
        if (got < asked)
            break;
    }
    frames.resize(done);
    return frames;
}

inline std::vector<Frame> readAll(KXAFiledAudioData2 &data)
{
    return readFrames(data, static_cast<std::size_t>(data.numFrames()) + 10000, 4096);
}

/// The frame number that a delivered frame of Signal::Index holds: big-endian samples.
inline int64_t indexIn(Frame frame)
{
    const auto swapped = [](uint32_t half) { return static_cast<int16_t>((half & 0xff) << 8 | (half >> 8 & 0xff)); };
    return indexOf(swapped(frame & 0xffff), swapped(frame >> 16));
}

} // namespace kx::test
