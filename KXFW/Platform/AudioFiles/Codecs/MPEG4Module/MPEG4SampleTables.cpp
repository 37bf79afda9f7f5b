#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4SampleTables.h"

#include <algorithm>

namespace kx
{

namespace
{

constexpr uint64_t kLongestTable = INT64_MAX / 4;

/// How many bytes each packet takes: one number for all, or a table of 4 to 32 bits each.
class PacketSizes
{
public:
    PacketSizes(MPEG4BoxReader &boxes, const MPEG4Box &box)
        : sizeOfAll_(box.type == fourCharCode("stsz") ? boxes.number32(box.body + 4) : 0),
          bits_(box.type == fourCharCode("stsz") ? 32 : static_cast<int64_t>(boxes.number(box.body + 7, 1))),
          count_(boxes.number32(box.body + 8)), table_(boxes.source(), box, 12, sizeOfAll_ == 0 ? count_ : 0, bits_)
    {
    }

    [[nodiscard]] bool isWhole() const noexcept
    {
        return (bits_ == 4 || bits_ == 8 || bits_ == 16 || bits_ == 32) && table_.isWhole();
    }
    [[nodiscard]] uint32_t count() const noexcept { return count_; }
    uint32_t at(int64_t index)
    {
        if (sizeOfAll_ != 0)
            return sizeOfAll_;
        if (bits_ != 4)
            return static_cast<uint32_t>(table_.number(index, 0, bits_ / 8));
        const uint64_t pair = table_.number(index, 0, 1);
        return static_cast<uint32_t>(index % 2 == 0 ? pair >> 4 : pair & 15);
    }

private:
    uint32_t sizeOfAll_;
    int64_t bits_;
    uint32_t count_;
    MPEG4Table table_;
};

MPEG4Table tableOf(MPEG4BoxReader &boxes, const MPEG4Box &box, int64_t entryBytes)
{
    return {boxes.source(), box, 8, boxes.number32(box.body + 4), entryBytes * 8};
}

/// Which run of chunks a chunk belongs to, and so how many packets it has.
class ChunkRuns
{
public:
    explicit ChunkRuns(MPEG4Table &table) : table_(table) {}

    /// Of a chunk behind the last one asked about. Numbers begin with 1.
    uint32_t packetsIn(uint32_t chunk)
    {
        while (run_ < table_.count() && table_.number(run_, 0, 4) <= chunk)
            packets_ = static_cast<uint32_t>(table_.number(run_++, 4, 4));
        return packets_;
    }

private:
    MPEG4Table &table_;
    uint32_t run_ = 0;
    uint32_t packets_ = 0;
};

bool addPackets(PacketSizes &sizes, ChunkRuns runs, MPEG4Table &offsets, int64_t offsetBytes, MPEG4PacketList &packets)
{
    if (!packets.expect(sizes.count()))
        return false;
    int64_t packet = 0;
    for (uint32_t chunk = 0; chunk < offsets.count() && packet < sizes.count(); ++chunk) {
        auto position = static_cast<int64_t>(offsets.number(chunk, 0, offsetBytes));
        for (uint32_t left = runs.packetsIn(chunk + 1); left > 0 && packet < sizes.count(); --left) {
            const uint32_t bytes = sizes.at(packet++);
            if (!packets.add(position, bytes))
                return true;
            position += bytes;
        }
    }
    return true;
}

bool readDurations(MPEG4BoxReader &boxes, const MPEG4Box &box, MPEG4Track &track)
{
    MPEG4Table times = tableOf(boxes, box, 8);
    if (!times.isWhole())
        return false;
    uint64_t sum = 0;
    for (uint32_t i = 0; i < times.count(); ++i)
        sum = std::min(kLongestTable, sum + std::min(kLongestTable, times.number(i, 0, 4) * times.number(i, 4, 4)));
    track.tabled = static_cast<int64_t>(sum);
    if (sum > 0)
        track.duration = std::min(track.duration, track.tabled);
    return true;
}

} // namespace

bool readMPEG4SampleTables(MPEG4BoxReader &boxes, const MPEG4Box &box, MPEG4Track &track)
{
    const auto child = [&](FourCharCode type) { return boxes.find(box, {type}); };
    if (const auto times = child(fourCharCode("stts")); times && !readDurations(boxes, *times, track))
        return false;
    auto sizeBox = child(fourCharCode("stsz"));
    if (!sizeBox)
        sizeBox = child(fourCharCode("stz2"));
    auto offsetBox = child(fourCharCode("stco"));
    const int64_t offsetBytes = offsetBox ? 4 : 8;
    if (!offsetBox)
        offsetBox = child(fourCharCode("co64"));
    const auto runBox = child(fourCharCode("stsc"));
    if (!sizeBox || !offsetBox || !runBox)
        return true; // as in files whose packets are all in fragments
    PacketSizes sizes(boxes, *sizeBox);
    MPEG4Table offsets = tableOf(boxes, *offsetBox, offsetBytes);
    MPEG4Table runs = tableOf(boxes, *runBox, 12);
    return sizes.isWhole() && offsets.isWhole() && runs.isWhole() &&
           addPackets(sizes, ChunkRuns(runs), offsets, offsetBytes, track.packets);
}

} // namespace kx
