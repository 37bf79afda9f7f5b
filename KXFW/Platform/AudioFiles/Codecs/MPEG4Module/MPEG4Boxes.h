/// @file
/// The boxes that an MPEG-4 file is made of, and the numbers in them.
///
/// The file is taken apart here and not by the library that decodes it: its demuxer allocates by counts that a file
/// merely states, and takes a time that grows with the square of the fragments. Here everything is bounded by bytes
/// that are there.
#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/ByteWindow.h"

#include <cstdint>
#include <initializer_list>
#include <optional>

namespace kx
{

struct MPEG4Box {
    FourCharCode type;
    int64_t start;
    int64_t body; ///< where the contents begin
    int64_t end;  ///< exclusive

    [[nodiscard]] int64_t bodyBytes() const noexcept { return end - body; }
};

/// Reads numbers and boxes through a window. What a failing disk does not give reads as zeros; the source has the
/// status then. One thread at a time; everything may block.
class MPEG4BoxReader
{
public:
    explicit MPEG4BoxReader(ByteSource &source) : source_(source), window_(source) {}

    [[nodiscard]] ByteSource &source() const noexcept { return source_; }
    [[nodiscard]] MPEG4Box file() const noexcept { return {0, 0, 0, source_.size()}; } ///< the parent of the top ones

    /// Up to 8 bytes, big-endian; 0 past the end.
    uint64_t number(int64_t offset, int64_t bytes);
    uint32_t number32(int64_t offset) { return static_cast<uint32_t>(number(offset, 4)); }

    /// The box at `offset`, where the one before ends; nothing at the end of the parent and where no box fits. Media
    /// and fragments at the top that the file ends in end with the file.
    std::optional<MPEG4Box> at(const MPEG4Box &parent, int64_t offset);
    /// The first child of a type, or of a type in a child of a type, and so on.
    std::optional<MPEG4Box> find(const MPEG4Box &parent, std::initializer_list<FourCharCode> path);

private:
    std::optional<MPEG4Box> findChild(const MPEG4Box &parent, FourCharCode type);

    ByteSource &source_;
    ByteWindow window_;
};

/// A table in a box, read through a window of its own, so that tables can be read side by side.
class MPEG4Table
{
public:
    /// `count` entries of `entryBits` bits, whole bytes unless 4, that begin `offset` bytes into the body.
    MPEG4Table(ByteSource &source, const MPEG4Box &box, int64_t offset, uint32_t count, int64_t entryBits)
        : reader_(source), first_(box.body + offset), count_(count), entryBits_(entryBits),
          isWhole_(box.bodyBytes() >= offset && count * entryBits <= (box.bodyBytes() - offset) * 8)
    {
    }

    [[nodiscard]] bool isWhole() const noexcept { return isWhole_; } ///< all entries are in the box
    [[nodiscard]] uint32_t count() const noexcept { return count_; }
    /// A number in entry `index`, or all of it: `bytes` from byte `at` on.
    uint64_t number(int64_t index, int64_t at, int64_t bytes)
    {
        return reader_.number(first_ + index * entryBits_ / 8 + at, bytes);
    }

private:
    MPEG4BoxReader reader_;
    int64_t first_;
    uint32_t count_;
    int64_t entryBits_;
    bool isWhole_;
};

} // namespace kx
