/// @file
/// The layouts that playback and export run through all the time, eight frames at a step: 16-bit integers and native
/// floats, stereo or a single channel. Each function does as many whole steps as fit, with the very bits that the
/// codec gives, and returns how many samples of each channel it did; the plain loop does the rest. For other codecs,
/// and on machines without SSE2, that is none.
#pragma once

#include "KXFW/Platform/Conversion/SampleCodecs.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kx
{

inline constexpr std::size_t kVectorFrames = 8;

template <class Codec> std::size_t readStereoVectors(Codec, const std::byte *, std::size_t, float *, float *) noexcept
{
    return 0;
}

template <class Codec>
std::size_t writeStereoVectors(Codec, const float *, const float *, std::size_t, std::byte *) noexcept
{
    return 0;
}

template <class Codec> std::size_t readVectors(Codec, const std::byte *, std::size_t, float *) noexcept
{
    return 0;
}

template <class Codec> std::size_t writeVectors(Codec, const float *, std::size_t, std::byte *) noexcept
{
    return 0;
}

#if defined(__SSE2__)

inline __m128i loadVector(const std::byte *from) noexcept
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(from));
}

inline void storeVector(__m128i vector, std::byte *to) noexcept
{
    _mm_storeu_si128(reinterpret_cast<__m128i *>(to), vector);
}

inline __m128 loadFloats(const std::byte *from) noexcept
{
    return _mm_castsi128_ps(loadVector(from));
}

template <bool Swapped> __m128i ordered(__m128i words) noexcept
{
    return Swapped ? _mm_or_si128(_mm_slli_epi16(words, 8), _mm_srli_epi16(words, 8)) : words;
}

/// Four 32-bit lanes with a 16-bit sample in their upper halves.
inline __m128 scaledHigh(__m128i lanes) noexcept
{
    return _mm_mul_ps(_mm_cvtepi32_ps(_mm_srai_epi32(lanes, 16)), _mm_set1_ps(1.0F / 32768));
}

inline __m128 withoutNaN(__m128 values) noexcept
{
    return _mm_and_ps(values, _mm_cmpord_ps(values, values));
}

inline __m128 finite(__m128 values) noexcept
{
    const __m128 largest = _mm_set1_ps(std::numeric_limits<float>::max());
    const __m128 smallest = _mm_set1_ps(-std::numeric_limits<float>::max());
    return _mm_max_ps(_mm_min_ps(withoutNaN(values), largest), smallest);
}

/// The conversion turns what is far below the range into the smallest integer, which packing saturates; only what is
/// far above it needs a limit.
inline __m128i quantised(__m128 values) noexcept
{
    const __m128 scaled = _mm_mul_ps(withoutNaN(values), _mm_set1_ps(32768));
    return _mm_cvtps_epi32(_mm_min_ps(scaled, _mm_set1_ps(32767)));
}

template <bool Swapped> __m128i packed(const float *from) noexcept
{
    return ordered<Swapped>(_mm_packs_epi32(quantised(_mm_loadu_ps(from)), quantised(_mm_loadu_ps(from + 4))));
}

template <bool Swapped> std::size_t readStereoVectors(Integer16<Swapped>, const std::byte *in, std::size_t frames,
                                                      float *left, float *right) noexcept
{
    const std::size_t whole = frames / kVectorFrames * kVectorFrames;
    for (std::size_t n = 0; n < whole; n += 4) {
        const __m128i words = ordered<Swapped>(loadVector(in + 4 * n));
        _mm_storeu_ps(left + n, scaledHigh(_mm_slli_epi32(words, 16)));
        _mm_storeu_ps(right + n, scaledHigh(words));
    }
    return whole;
}

template <bool Swapped> std::size_t writeStereoVectors(Integer16<Swapped>, const float *left, const float *right,
                                                       std::size_t frames, std::byte *out) noexcept
{
    const std::size_t whole = frames / kVectorFrames * kVectorFrames;
    for (std::size_t n = 0; n < whole; n += kVectorFrames) {
        const __m128i lefts = packed<Swapped>(left + n);
        const __m128i rights = packed<Swapped>(right + n);
        storeVector(_mm_unpacklo_epi16(lefts, rights), out + 4 * n);
        storeVector(_mm_unpackhi_epi16(lefts, rights), out + 4 * n + 16);
    }
    return whole;
}

template <bool Swapped>
std::size_t readVectors(Integer16<Swapped>, const std::byte *in, std::size_t frames, float *out) noexcept
{
    const std::size_t whole = frames / kVectorFrames * kVectorFrames;
    for (std::size_t n = 0; n < whole; n += kVectorFrames) {
        const __m128i words = ordered<Swapped>(loadVector(in + 2 * n));
        _mm_storeu_ps(out + n, scaledHigh(_mm_unpacklo_epi16(words, words)));
        _mm_storeu_ps(out + n + 4, scaledHigh(_mm_unpackhi_epi16(words, words)));
    }
    return whole;
}

template <bool Swapped>
std::size_t writeVectors(Integer16<Swapped>, const float *in, std::size_t frames, std::byte *out) noexcept
{
    const std::size_t whole = frames / kVectorFrames * kVectorFrames;
    for (std::size_t n = 0; n < whole; n += kVectorFrames)
        storeVector(packed<Swapped>(in + n), out + 2 * n);
    return whole;
}

inline std::size_t readStereoVectors(Float32<false>, const std::byte *in, std::size_t frames, float *left,
                                     float *right) noexcept
{
    const std::size_t whole = frames / kVectorFrames * kVectorFrames;
    for (std::size_t n = 0; n < whole; n += 4) {
        const __m128 first = finite(loadFloats(in + 8 * n));
        const __m128 second = finite(loadFloats(in + 8 * n + 16));
        _mm_storeu_ps(left + n, _mm_shuffle_ps(first, second, _MM_SHUFFLE(2, 0, 2, 0)));
        _mm_storeu_ps(right + n, _mm_shuffle_ps(first, second, _MM_SHUFFLE(3, 1, 3, 1)));
    }
    return whole;
}

inline std::size_t writeStereoVectors(Float32<false>, const float *left, const float *right, std::size_t frames,
                                      std::byte *out) noexcept
{
    const std::size_t whole = frames / kVectorFrames * kVectorFrames;
    for (std::size_t n = 0; n < whole; n += 4) {
        const __m128 lefts = finite(_mm_loadu_ps(left + n));
        const __m128 rights = finite(_mm_loadu_ps(right + n));
        storeVector(_mm_castps_si128(_mm_unpacklo_ps(lefts, rights)), out + 8 * n);
        storeVector(_mm_castps_si128(_mm_unpackhi_ps(lefts, rights)), out + 8 * n + 16);
    }
    return whole;
}

inline std::size_t readVectors(Float32<false>, const std::byte *in, std::size_t frames, float *out) noexcept
{
    const std::size_t whole = frames / kVectorFrames * kVectorFrames;
    for (std::size_t n = 0; n < whole; n += 4)
        _mm_storeu_ps(out + n, finite(loadFloats(in + 4 * n)));
    return whole;
}

inline std::size_t writeVectors(Float32<false>, const float *in, std::size_t frames, std::byte *out) noexcept
{
    const std::size_t whole = frames / kVectorFrames * kVectorFrames;
    for (std::size_t n = 0; n < whole; n += 4)
        storeVector(_mm_castps_si128(finite(_mm_loadu_ps(in + n))), out + 4 * n);
    return whole;
}

/// Words with their bytes exchanged; returns how many were done.
inline std::size_t swapVectors(const std::byte *in, std::byte *out, std::size_t count) noexcept
{
    const std::size_t whole = count / 8 * 8;
    for (std::size_t n = 0; n < whole; n += 8)
        storeVector(ordered<true>(loadVector(in + 2 * n)), out + 2 * n);
    return whole;
}

#else

inline std::size_t swapVectors(const std::byte *, std::byte *, std::size_t) noexcept
{
    return 0;
}

#endif

} // namespace kx
