#pragma once

#include "KXFW/Audio/KXAFiledAudioData2.h"
#include "KXFW/Platform/Dispatch/SerialQueue.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

namespace kx::test
{

/// A file whose frames hold their numbers.
inline Media indexed(int64_t frames)
{
    return {.frames = frames, .signal = Signal::Index};
}

/// The number that a delivered frame holds: 4 bytes, big-endian samples. Any two 16-bit samples are a number.
inline int64_t indexIn(uint32_t frame)
{
    const auto swapped = [](uint32_t half) { return static_cast<int16_t>((half & 0xff) << 8 | (half >> 8 & 0xff)); };
    return indexOf(swapped(frame & 0xffff), swapped(frame >> 16));
}

/// The numbers of the next `count` frames, or of as many as there are.
inline std::vector<int64_t> readIndices(KXAFiledAudioData2 &data, std::size_t count = SIZE_MAX)
{
    std::vector<int64_t> numbers;
    uint32_t frames[4096];
    for (uint32_t got = 1; got > 0;) {
        got = static_cast<uint32_t>(std::min<std::size_t>(std::size(frames), count - numbers.size()));
        data.readToBuffer(frames, &got);
        std::transform(frames, frames + got, std::back_inserter(numbers), indexIn);
    }
    return numbers;
}

/// The numbers of all frames of a file; none if it cannot be opened.
inline std::vector<int64_t> indicesOf(const std::filesystem::path &file)
{
    const auto data = KXAFiledAudioData2::audioDataWithContentsOfURL(file);
    return data ? readIndices(*data) : std::vector<int64_t>{};
}

/// The first `count` numbers are those of passes of [start, end) from `from` on.
inline void expectPasses(const std::vector<int64_t> &numbers, std::size_t count, int64_t from, int64_t start,
                         int64_t end)
{
    ASSERT_GE(numbers.size(), count);
    int64_t expected = from;
    for (std::size_t i = 0; i < count; ++i) {
        ASSERT_EQ(numbers[i], expected) << "frame " << i << " of range " << start << ".." << end;
        if (++expected == end)
            expected = start;
    }
}

} // namespace kx::test
