/// @file
/// The loops over samples, written once for every codec. Private to SampleFormat.cpp.
#pragma once

#include "KXFW/Platform/Conversion/SampleCodecs.h"
#include "KXFW/Platform/Conversion/SampleVectors.h"

namespace kx
{

/// One channel whose samples are `stride` bytes apart.
template <class Codec>
void readChannel(const std::byte *in, std::size_t stride, std::size_t frames, float *out) noexcept
{
    if (stride != Codec::kBytes) {
        for (std::size_t n = 0; n < frames; ++n)
            out[n] = Codec::load(in + n * stride);
        return;
    }
    for (std::size_t n = readVectors(Codec{}, in, frames, out); n < frames; ++n)
        out[n] = Codec::load(in + n * Codec::kBytes);
}

template <class Codec>
void writeChannel(const float *in, std::size_t frames, std::byte *out, std::size_t stride) noexcept
{
    if (stride != Codec::kBytes) {
        for (std::size_t n = 0; n < frames; ++n)
            Codec::store(in[n], out + n * stride);
        return;
    }
    for (std::size_t n = writeVectors(Codec{}, in, frames, out); n < frames; ++n)
        Codec::store(in[n], out + n * Codec::kBytes);
}

template <class Codec> void readStereo(const std::byte *in, std::size_t frames, float *left, float *right) noexcept
{
    for (std::size_t n = readStereoVectors(Codec{}, in, frames, left, right); n < frames; ++n) {
        left[n] = Codec::load(in + 2 * n * Codec::kBytes);
        right[n] = Codec::load(in + (2 * n + 1) * Codec::kBytes);
    }
}

template <class Codec>
void writeStereo(const float *left, const float *right, std::size_t frames, std::byte *out) noexcept
{
    for (std::size_t n = writeStereoVectors(Codec{}, left, right, frames, out); n < frames; ++n) {
        Codec::store(left[n], out + 2 * n * Codec::kBytes);
        Codec::store(right[n], out + (2 * n + 1) * Codec::kBytes);
    }
}

inline void swapWords(const std::byte *in, std::byte *out, std::size_t count) noexcept
{
    for (std::size_t n = swapVectors(in, out, count); n < count; ++n)
        storeWord<true>(loadWord<uint16_t, false>(in + 2 * n), out + 2 * n);
}

} // namespace kx
