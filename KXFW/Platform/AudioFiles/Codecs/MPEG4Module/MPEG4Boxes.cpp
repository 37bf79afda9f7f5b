#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Boxes.h"

#include <algorithm>
#include <array>

namespace kx
{

namespace
{

constexpr int kMaximumDepth = 8;
constexpr int kMaximumBoxes = 1 << 20;
constexpr std::size_t kMaximumTracks = 100;
constexpr uint64_t kSmallestSampleBytes = 4; ///< silence takes a little more

struct Box {
    FourCharCode type;
    int64_t body; ///< where the contents begin
    int64_t end;  ///< exclusive
};

class BoxReader
{
public:
    explicit BoxReader(ByteSource &source) : source_(source) {}

    Result<MPEG4Layout> read()
    {
        if (!readChildren({0, 0, source_.size()}, 0))
            return source_.error() != noErr ? source_.error() : kAudioFileInvalidFileError;
        return std::move(layout_);
    }

private:
    /// Up to 8 bytes, big-endian; 0 past the end.
    uint64_t number(int64_t offset, int64_t bytes)
    {
        std::array<uint8_t, 8> buffer{};
        if (source_.readAt(offset, buffer.data(), bytes) != bytes)
            return 0;
        uint64_t value = 0;
        for (int64_t i = 0; i < bytes; ++i)
            value = value << 8 | buffer[static_cast<std::size_t>(i)];
        return value;
    }
    uint32_t number32(int64_t offset) { return static_cast<uint32_t>(number(offset, 4)); }

    /// False if the box is broken. One at the top that the file ends in ends with the file.
    bool readBox(int64_t offset, int64_t limit, bool isTop, Box &box)
    {
        if (offset > limit - 8)
            return false;
        uint64_t size = number32(offset);
        box.type = number32(offset + 4);
        box.body = offset + 8;
        if (size == 1) {
            size = number(offset + 8, 8);
            box.body += 8;
        } else if (size == 0 && isTop) {
            size = static_cast<uint64_t>(limit - offset);
        }
        const auto room = static_cast<uint64_t>(limit - offset);
        if (size < static_cast<uint64_t>(box.body - offset) || (size > room && !mayBeCut(box.type, isTop)))
            return false;
        box.end = offset + static_cast<int64_t>(std::min(size, room));
        return box.body <= box.end;
    }

    static bool mayBeCut(FourCharCode type, bool isTop)
    {
        return isTop && type != fourCharCode("moov") && type != fourCharCode("ftyp");
    }

    bool readChildren(const Box &parent, int depth)
    {
        int64_t offset = parent.body;
        while (offset <= parent.end - 8) {
            Box box{};
            if (depth > kMaximumDepth || ++boxes_ > kMaximumBoxes)
                return false;
            if (!readBox(offset, parent.end, depth == 0, box))
                return depth == 0 && !layout_.tracks.empty(); // what follows the last whole box is no part of it
            if (!readContents(box, depth))
                return false;
            offset = box.end;
        }
        return source_.error() == noErr;
    }

    bool readContents(const Box &box, int depth)
    {
        switch (box.type) {
        case fourCharCode("trak"):
            if (layout_.tracks.size() >= kMaximumTracks)
                return false;
            layout_.tracks.emplace_back();
            return readChildren(box, depth + 1);
        case fourCharCode("mvex"):
        case fourCharCode("moof"):
            layout_.isFragmented = true;
            return readChildren(box, depth + 1);
        case fourCharCode("moov"):
        case fourCharCode("mdia"):
        case fourCharCode("minf"):
        case fourCharCode("stbl"):
        case fourCharCode("edts"):
        case fourCharCode("traf"):
            return readChildren(box, depth + 1);
        case fourCharCode("cmov"):
            return false; // packed headers: nobody writes them, and they unpack to any size
        default:
            return readLeaf(box);
        }
    }

    bool readLeaf(const Box &box)
    {
        const bool isLong = number(box.body, 1) == 1; // the version: 64-bit times
        switch (box.type) {
        case fourCharCode("mvhd"):
            layout_.movieTimescale = number32(box.body + (isLong ? 20 : 12));
            return true;
        case fourCharCode("tkhd"):
            if (!layout_.tracks.empty())
                layout_.tracks.back().trackID = number32(box.body + (isLong ? 20 : 12));
            return true;
        case fourCharCode("elst"):
            return layout_.tracks.empty() || readEdits(box, isLong, layout_.tracks.back());
        case fourCharCode("stsz"):
            return isPossibleSampleTable(box);
        case fourCharCode("stz2"):
            return claim(number32(box.body + 8), box, 12, number(box.body + 7, 1));
        case fourCharCode("trun"):
            return isPossibleRun(box);
        case fourCharCode("stco"):
        case fourCharCode("stss"):
        case fourCharCode("stps"):
            return isPossibleTable(box, 4);
        case fourCharCode("co64"):
        case fourCharCode("stts"):
        case fourCharCode("ctts"):
            return isPossibleTable(box, 8);
        case fourCharCode("stsc"):
            return isPossibleTable(box, 12);
        default:
            return true;
        }
    }

    bool readEdits(const Box &box, bool isLong, MPEG4TrackEdits &edits)
    {
        const int64_t entryBytes = isLong ? 20 : 12;
        const int64_t count = std::min<int64_t>(number32(box.body + 4), (box.end - box.body - 8) / entryBytes);
        for (int64_t i = 0; i < count && edits.count < 2; ++i) {
            const int64_t at = box.body + 8 + i * entryBytes;
            const uint64_t duration = number(at, isLong ? 8 : 4);
            const int64_t mediaTime =
                isLong ? static_cast<int64_t>(number(at + 8, 8)) : static_cast<int32_t>(number32(at + 4));
            if (mediaTime < 0) // an edit that shows nothing
                continue;
            if (edits.count++ == 0) {
                edits.mediaTime = mediaTime;
                edits.duration = duration;
            }
        }
        return true;
    }

    /// Of a table that begins with its version and its count.
    bool isPossibleTable(const Box &box, int64_t entryBytes)
    {
        return number32(box.body + 4) <= (box.end - box.body - 8) / entryBytes;
    }

    bool isPossibleSampleTable(const Box &box)
    {
        const uint32_t sampleBytes = number32(box.body + 4);
        return claim(number32(box.body + 8), box, 12, sampleBytes == 0 ? 32 : 0);
    }

    bool isPossibleRun(const Box &box)
    {
        const uint32_t flags = number32(box.body) & 0xFFFFFF;
        uint64_t bitsPerSample = 0;
        for (const uint32_t field : {0x100U, 0x200U, 0x400U, 0x800U})
            bitsPerSample += (flags & field) != 0 ? 32 : 0;
        return claim(number32(box.body + 4), box, 8, bitsPerSample);
    }

    /// Whether a table of `count` samples that begins `offset` bytes into the box fits there. Where it says little or
    /// nothing of each sample, all such samples have to fit into the file instead.
    bool claim(uint64_t count, const Box &box, int64_t offset, uint64_t bitsPerSample)
    {
        const auto room = static_cast<uint64_t>(std::max<int64_t>(0, box.end - box.body - offset));
        if (bitsPerSample >= 16)
            return count * bitsPerSample / 8 <= room;
        samples_ += count;
        return samples_ <= static_cast<uint64_t>(source_.size()) / kSmallestSampleBytes;
    }

    ByteSource &source_;
    MPEG4Layout layout_;
    int boxes_ = 0;
    uint64_t samples_ = 0; ///< of tables that say little of each
};

} // namespace

Result<MPEG4Layout> readMPEG4Layout(ByteSource &source)
{
    return BoxReader(source).read();
}

} // namespace kx
