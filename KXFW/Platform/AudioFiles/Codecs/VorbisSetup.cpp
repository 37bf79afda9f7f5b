#include "KXFW/Platform/AudioFiles/Codecs/VorbisSetup.h"

#include <bit>
#include <cstdint>

namespace kx
{

namespace
{

// Encoders' largest book has 8 times 6,561 values. A residue takes up to 40 bytes an entry of its own book, 64 times.
constexpr int64_t kMaximumBookValues = 1 << 16;
constexpr int64_t kMaximumValues = 1 << 22;

class BitReader
{
public:
    explicit BitReader(const ogg_packet &packet) noexcept
    {
        oggpack_readinit(&bits_, packet.packet, static_cast<int>(packet.bytes));
    }
    /// Up to 32 bits; -1 past the end, and from then on.
    int64_t take(int count) noexcept
    {
        const long value = isBehind_ ? -1 : oggpack_read(&bits_, count);
        isBehind_ = isBehind_ || value < 0;
        return value;
    }
    void skip(int64_t count) noexcept
    {
        isBehind_ = isBehind_ || count > 8 * (bits_.storage - oggpack_bytes(&bits_)) + 7;
        if (!isBehind_) // in steps, as the library counts in an int
            for (; count > 0; count -= 1 << 20)
                oggpack_adv(&bits_, static_cast<int>(count < 1 << 20 ? count : 1 << 20));
    }
    [[nodiscard]] bool isBehind() const noexcept { return isBehind_; }

private:
    oggpack_buffer bits_{};
    bool isBehind_ = false;
};

int bitLength(int64_t value)
{
    return static_cast<int>(std::bit_width(static_cast<uint64_t>(value)));
}

/// The lengths of the code words; false where they make no sense.
bool skipLengths(BitReader &bits, int64_t entries)
{
    if (bits.take(1) == 0) { // in any order
        if (bits.take(1) == 0) {
            bits.skip(5 * entries);
            return !bits.isBehind();
        }
        for (int64_t i = 0; i < entries && !bits.isBehind(); ++i)
            if (bits.take(1) == 1)
                bits.skip(5);
        return !bits.isBehind();
    }
    bits.skip(5);
    for (int64_t done = 0; done < entries && !bits.isBehind();)
        done += bits.take(bitLength(entries - done));
    return !bits.isBehind();
}

/// The largest whole number whose `dimensions`-th power is at most `entries`.
int64_t latticeValues(int64_t entries, int64_t dimensions)
{
    int64_t root = 1;
    while (true) {
        int64_t power = 1;
        for (int64_t i = 0; i < dimensions && power <= entries; ++i)
            power *= root + 1;
        if (power > entries)
            return root;
        ++root;
    }
}

bool skipValues(BitReader &bits, int64_t entries, int64_t dimensions)
{
    const int64_t type = bits.take(4);
    if (type == 0)
        return true;
    bits.skip(64);
    const int64_t valueBits = bits.take(4) + 1;
    bits.skip(1);
    if (bits.isBehind() || type > 2)
        return false;
    bits.skip(valueBits * (type == 1 ? latticeValues(entries, dimensions) : entries * dimensions));
    return !bits.isBehind();
}

} // namespace

bool hasModestCodeBooks(const ogg_packet &setup) noexcept
{
    constexpr int64_t sync = 0x564342;
    BitReader bits(setup);
    bits.skip(7 * 8); // type and name
    int64_t values = 0;
    for (int64_t books = bits.take(8) + 1; books > 0; --books) {
        if (bits.take(24) != sync)
            return false;
        const int64_t dimensions = bits.take(16);
        const int64_t entries = bits.take(24);
        if (dimensions < 1 || entries < 1 || dimensions * entries > kMaximumBookValues)
            return false;
        values += dimensions * entries;
        if (values > kMaximumValues || !skipLengths(bits, entries) || !skipValues(bits, entries, dimensions))
            return false;
    }
    return !bits.isBehind();
}

} // namespace kx
