#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Track.h"

#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Boxes.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Fragments.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4SampleEntry.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4SampleTables.h"

#include <algorithm>

namespace kx
{

namespace
{

constexpr int64_t kSmallestPacketBytes = 4; ///< silence takes a little more
constexpr int64_t kLongestTrack = INT64_MAX / 4;

/// Whether a box's times have 64 bits.
bool isLong(MPEG4BoxReader &boxes, const MPEG4Box &box)
{
    return boxes.number(box.body, 1) == 1;
}

/// What the headers of movie and track say of time and number.
void readHeaders(MPEG4BoxReader &boxes, const MPEG4Box &movie, const MPEG4Box &box, MPEG4Track &track)
{
    if (const auto header = boxes.find(movie, {fourCharCode("mvhd")}))
        track.movieTimescale = boxes.number32(header->body + (isLong(boxes, *header) ? 20 : 12));
    if (const auto header = boxes.find(box, {fourCharCode("tkhd")}))
        track.trackID = boxes.number32(header->body + (isLong(boxes, *header) ? 20 : 12));
    if (const auto header = boxes.find(box, {fourCharCode("mdia"), fourCharCode("mdhd")})) {
        const bool hasLongTimes = isLong(boxes, *header);
        track.timescale = boxes.number32(header->body + (hasLongTimes ? 20 : 12));
        const uint64_t duration = boxes.number(header->body + (hasLongTimes ? 24 : 16), hasLongTimes ? 8 : 4);
        track.duration = static_cast<int64_t>(std::min<uint64_t>(duration, kLongestTrack));
    }
}

void readEdits(MPEG4BoxReader &boxes, const MPEG4Box &box, MPEG4Edits &edits)
{
    const auto list = boxes.find(box, {fourCharCode("edts"), fourCharCode("elst")});
    if (!list)
        return;
    const bool hasLongTimes = isLong(boxes, *list);
    const int64_t entryBytes = hasLongTimes ? 20 : 12;
    const int64_t count = std::min<int64_t>(boxes.number32(list->body + 4), (list->bodyBytes() - 8) / entryBytes);
    for (int64_t i = 0; i < count && edits.count < 2; ++i) {
        const int64_t at = list->body + 8 + i * entryBytes;
        const uint64_t duration = boxes.number(at, hasLongTimes ? 8 : 4);
        const int64_t mediaTime =
            hasLongTimes ? static_cast<int64_t>(boxes.number(at + 8, 8)) : static_cast<int32_t>(boxes.number32(at + 4));
        if (mediaTime < 0) // an edit that shows nothing
            continue;
        if (edits.count++ == 0) {
            edits.mediaTime = mediaTime;
            edits.duration = duration;
        }
    }
}

/// The track in `box`, whose packets are coded as its parameters say.
OSStatus readTrack(MPEG4BoxReader &boxes, const MPEG4Box &movie, const MPEG4Box &box, MPEG4Track &track)
{
    readHeaders(boxes, movie, box, track);
    readEdits(boxes, box, track.edits);
    track.tag = findMPEG4GaplessTag(boxes, movie);
    if (!track.tag)
        track.tag = findMPEG4GaplessTag(boxes, box);
    const auto tables = boxes.find(box, {fourCharCode("mdia"), fourCharCode("minf"), fourCharCode("stbl")});
    if (tables && !readMPEG4SampleTables(boxes, *tables, track))
        return kAudioFileInvalidFileError;
    if (boxes.find(movie, {fourCharCode("mvex")}))
        readMPEG4Fragments(boxes, movie, track);
    return boxes.source().error();
}

} // namespace

bool MPEG4PacketList::expect(uint32_t count)
{
    const auto all = packets_.size() + count;
    if (all > static_cast<std::size_t>(fileBytes_ / kSmallestPacketBytes))
        return false;
    if (all > packets_.capacity())
        packets_.reserve(std::max(all, packets_.empty() ? all : 2 * packets_.size()));
    return true;
}

bool MPEG4PacketList::add(int64_t position, uint32_t bytes)
{
    isOpen_ = isOpen_ && bytes <= kMaximumPacketBytes && position >= 0 && position <= fileBytes_ - int64_t{bytes};
    if (!isOpen_)
        return false;
    packets_.push_back({position, bytes});
    largest_ = std::max(largest_, bytes);
    return true;
}

StatusOr<MPEG4Track> readMPEG4Track(ByteSource &source)
{
    MPEG4BoxReader boxes(source);
    const auto movie = boxes.find(boxes.file(), {fourCharCode("moov")});
    if (!movie || !boxes.find(*movie, {fourCharCode("trak")}))
        return source.error() != noErr ? source.error() : kAudioFileInvalidFileError;
    for (auto box = boxes.at(*movie, movie->body); box; box = boxes.at(*movie, box->end)) {
        if (box->type != fourCharCode("trak"))
            continue;
        MPEG4Track track(source.size());
        track.parameters = readMPEG4SampleEntry(boxes, *box);
        if (!track.parameters)
            continue;
        const OSStatus status = readTrack(boxes, *movie, *box, track);
        return status == noErr ? StatusOr<MPEG4Track>(std::move(track)) : status;
    }
    return source.error() != noErr ? source.error() : kAudioFileUnsupportedDataFormatError;
}

} // namespace kx
