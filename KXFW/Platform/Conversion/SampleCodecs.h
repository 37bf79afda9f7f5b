/// @file
/// How one sample of each kind lies in memory, and its value as a float. A codec has its width in bytes and two pure
/// functions; `load` and `store` take any address. "Swapped" is the byte order that the machine does not use.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace kx
{

inline uint16_t swapped(uint16_t word) noexcept
{
    return __builtin_bswap16(word);
}

inline uint32_t swapped(uint32_t word) noexcept
{
    return __builtin_bswap32(word);
}

inline uint64_t swapped(uint64_t word) noexcept
{
    return __builtin_bswap64(word);
}

template <class Word, bool Swapped> Word loadWord(const std::byte *from) noexcept
{
    Word word;
    std::memcpy(&word, from, sizeof word);
    return Swapped ? swapped(word) : word;
}

template <bool Swapped, class Word> void storeWord(Word word, std::byte *to) noexcept
{
    word = Swapped ? swapped(word) : word;
    std::memcpy(to, &word, sizeof word);
}

/// Floats keep their value, but what is not a number becomes 0 and what is infinite the largest number.
inline float finite(float value) noexcept
{
    constexpr float largest = std::numeric_limits<float>::max();
    return std::isnan(value) ? 0.0F : std::clamp(value, -largest, largest);
}

/// The integer nearest to `value` x `scale` (ties to even), between -scale and scale - 1; `scale` up to 2^23, so that
/// floats hold every integer of the range.
inline int32_t quantised(float value, float scale) noexcept
{
    const float scaled = std::isnan(value) ? 0.0F : value * scale;
    return static_cast<int32_t>(std::lrint(std::clamp(scaled, -scale, scale - 1)));
}

struct Signed8 {
    static constexpr std::size_t kBytes = 1;
    static float load(const std::byte *from) noexcept
    {
        return static_cast<float>(std::to_integer<int8_t>(*from)) * (1.0F / 128);
    }
    static void store(float value, std::byte *to) noexcept { *to = static_cast<std::byte>(quantised(value, 128)); }
};

struct Unsigned8 {
    static constexpr std::size_t kBytes = 1;
    static float load(const std::byte *from) noexcept
    {
        return static_cast<float>(std::to_integer<int>(*from) - 128) * (1.0F / 128);
    }
    static void store(float value, std::byte *to) noexcept
    {
        *to = static_cast<std::byte>(quantised(value, 128) + 128);
    }
};

template <bool Swapped> struct Integer16 {
    static constexpr std::size_t kBytes = 2;
    static float load(const std::byte *from) noexcept
    {
        return static_cast<float>(static_cast<int16_t>(loadWord<uint16_t, Swapped>(from))) * (1.0F / 32768);
    }
    static void store(float value, std::byte *to) noexcept
    {
        storeWord<Swapped>(static_cast<uint16_t>(quantised(value, 32768)), to);
    }
};

template <bool Swapped> struct Integer24 {
    static constexpr std::size_t kBytes = 3;
    static constexpr bool kBigEndian = Swapped != (std::endian::native == std::endian::big);
    static constexpr std::size_t kHigh = kBigEndian ? 0 : 2;
    static constexpr std::size_t kLow = kBigEndian ? 2 : 0;

    static float load(const std::byte *from) noexcept
    {
        const uint32_t high = std::to_integer<uint32_t>(from[kHigh]) << 24;
        const uint32_t rest = std::to_integer<uint32_t>(from[1]) << 16 | std::to_integer<uint32_t>(from[kLow]) << 8;
        return static_cast<float>(static_cast<int32_t>(high | rest)) * (1.0F / 2147483648.0F);
    }
    static void store(float value, std::byte *to) noexcept
    {
        const auto word = static_cast<uint32_t>(quantised(value, 8388608));
        to[kHigh] = static_cast<std::byte>(word >> 16 & 0xFF);
        to[1] = static_cast<std::byte>(word >> 8 & 0xFF);
        to[kLow] = static_cast<std::byte>(word & 0xFF);
    }
};

template <bool Swapped> struct Integer32 {
    static constexpr std::size_t kBytes = 4;
    static float load(const std::byte *from) noexcept
    {
        return static_cast<float>(static_cast<int32_t>(loadWord<uint32_t, Swapped>(from))) * (1.0F / 2147483648.0F);
    }
    static void store(float value, std::byte *to) noexcept
    {
        const double scaled = std::isnan(value) ? 0.0 : static_cast<double>(value) * 2147483648.0;
        const auto word = std::llrint(std::clamp(scaled, -2147483648.0, 2147483647.0));
        storeWord<Swapped>(static_cast<uint32_t>(word), to);
    }
};

template <bool Swapped> struct Float32 {
    static constexpr std::size_t kBytes = 4;
    static float load(const std::byte *from) noexcept
    {
        return finite(std::bit_cast<float>(loadWord<uint32_t, Swapped>(from)));
    }
    static void store(float value, std::byte *to) noexcept
    {
        storeWord<Swapped>(std::bit_cast<uint32_t>(finite(value)), to);
    }
};

template <bool Swapped> struct Float64 {
    static constexpr std::size_t kBytes = 8;
    static float load(const std::byte *from) noexcept
    {
        return finite(static_cast<float>(std::bit_cast<double>(loadWord<uint64_t, Swapped>(from))));
    }
    static void store(float value, std::byte *to) noexcept
    {
        storeWord<Swapped>(std::bit_cast<uint64_t>(static_cast<double>(finite(value))), to);
    }
};

} // namespace kx
