#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Fragments.h"

#include <algorithm>

namespace kx
{

namespace
{

constexpr int64_t kLongestDuration = INT64_MAX / 4;

/// Of packets that do not say it themselves.
struct Defaults {
    uint32_t duration = 0; ///< in units of the track's time scale
    uint32_t bytes = 0;
};

class FragmentReader
{
public:
    FragmentReader(MPEG4BoxReader &boxes, MPEG4Track &track) : boxes_(boxes), track_(track), time_(track.tabled) {}

    void findDefaults(const MPEG4Box &extends)
    {
        for (auto box = boxes_.at(extends, extends.body); box; box = boxes_.at(extends, box->end))
            if (box->type == fourCharCode("trex") && boxes_.number32(box->body + 4) == track_.trackID)
                ofTrack_ = {boxes_.number32(box->body + 12), boxes_.number32(box->body + 16)};
    }

    /// False if nothing behind this fragment can be read.
    bool readFragment(const MPEG4Box &fragment)
    {
        dataEnd_ = fragment.start;
        for (auto box = boxes_.at(fragment, fragment.body); box; box = boxes_.at(fragment, box->end))
            if (box->type == fourCharCode("traf") && !readTrackPart(fragment, *box))
                return false;
        return true;
    }

private:
    bool readTrackPart(const MPEG4Box &fragment, const MPEG4Box &part)
    {
        const auto header = boxes_.find(part, {fourCharCode("tfhd")});
        if (!header)
            return true;
        readHeader(fragment, *header);
        const bool isOurs = boxes_.number32(header->body + 4) == track_.trackID;
        if (const auto time = boxes_.find(part, {fourCharCode("tfdt")}); time && isOurs) {
            const bool isLong = boxes_.number(time->body, 1) == 1;
            const uint64_t start = boxes_.number(time->body + 4, isLong ? 8 : 4);
            time_ = static_cast<int64_t>(std::min<uint64_t>(start, kLongestDuration));
        }
        bool goesOn = true;
        for (auto box = boxes_.at(part, part.body); box && goesOn; box = boxes_.at(part, box->end))
            goesOn = box->type != fourCharCode("trun") || readRun(*box, isOurs);
        if (isOurs)
            track_.duration = std::max(track_.duration, time_);
        return goesOn;
    }

    /// Where the offsets of the runs begin, and their defaults.
    void readHeader(const MPEG4Box &fragment, const MPEG4Box &header)
    {
        const uint32_t flags = boxes_.number32(header.body);
        int64_t at = header.body + 8;
        base_ = (flags & 0x20000) != 0 ? fragment.start : dataEnd_;
        if ((flags & 1) != 0) {
            const uint64_t stated = boxes_.number(at, 8);
            base_ = static_cast<int64_t>(std::min<uint64_t>(stated, INT64_MAX / 2));
            at += 8;
        }
        at += (flags & 2) != 0 ? 4 : 0;
        ofPart_ = ofTrack_;
        if ((flags & 8) != 0) {
            ofPart_.duration = boxes_.number32(at);
            at += 4;
        }
        if ((flags & 16) != 0)
            ofPart_.bytes = boxes_.number32(at);
        dataEnd_ = base_;
    }

    bool readRun(const MPEG4Box &run, bool isOurs)
    {
        const uint32_t flags = boxes_.number32(run.body);
        const uint32_t count = boxes_.number32(run.body + 4);
        int64_t at = run.body + 8;
        if ((flags & 1) != 0) {
            if (__builtin_add_overflow(base_, static_cast<int32_t>(boxes_.number32(at)), &dataEnd_))
                return false;
            at += 4;
        }
        at += (flags & 4) != 0 ? 4 : 0;
        int64_t entryBytes = 0;
        for (const uint32_t field : {0x100U, 0x200U, 0x400U, 0x800U})
            entryBytes += (flags & field) != 0 ? 4 : 0;
        if (at > run.end || count * entryBytes > run.end - at || (isOurs && !track_.packets.expect(count)))
            return false;
        if (!isOurs && (flags & 0x200) == 0) { // no need to look at each
            int64_t bytes = 0;
            return !__builtin_mul_overflow(int64_t{count}, ofPart_.bytes, &bytes) &&
                   !__builtin_add_overflow(dataEnd_, bytes, &dataEnd_);
        }
        for (uint32_t i = 0; i < count; ++i, at += entryBytes)
            if (!readPacket(flags, at, isOurs))
                return false;
        return true;
    }

    bool readPacket(uint32_t flags, int64_t at, bool isOurs)
    {
        const uint32_t duration = (flags & 0x100) != 0 ? boxes_.number32(at) : ofPart_.duration;
        const int64_t sizeAt = at + ((flags & 0x100) != 0 ? 4 : 0);
        const uint32_t bytes = (flags & 0x200) != 0 ? boxes_.number32(sizeAt) : ofPart_.bytes;
        if (isOurs && !track_.packets.add(dataEnd_, bytes))
            return false;
        if (__builtin_add_overflow(dataEnd_, int64_t{bytes}, &dataEnd_))
            return false;
        time_ = std::min(time_ + (isOurs ? duration : 0), kLongestDuration);
        return true;
    }

    MPEG4BoxReader &boxes_;
    MPEG4Track &track_;
    Defaults ofTrack_;
    Defaults ofPart_;     ///< of the track in this fragment
    int64_t base_ = 0;    ///< what the runs' offsets are added to
    int64_t dataEnd_ = 0; ///< of the run before
    int64_t time_;        ///< of the next packet
};

} // namespace

void readMPEG4Fragments(MPEG4BoxReader &boxes, const MPEG4Box &movie, MPEG4Track &track)
{
    FragmentReader reader(boxes, track);
    if (const auto extends = boxes.find(movie, {fourCharCode("mvex")}))
        reader.findDefaults(*extends);
    const MPEG4Box file = boxes.file();
    for (auto box = boxes.at(file, movie.end); box; box = boxes.at(file, box->end))
        if (box->type == fourCharCode("moof") && !reader.readFragment(*box))
            return;
}

} // namespace kx
