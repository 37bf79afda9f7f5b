#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/AVObjects.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4GaplessTag.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace kx
{

inline constexpr uint32_t kMaximumPacketBytes = 1 << 20;

struct MPEG4Edits {
    uint32_t count = 0;    ///< of edits that show sound
    int64_t mediaTime = 0; ///< where the first of them begins, in units of the track's time scale
    uint64_t duration = 0; ///< of the first of them, in units of the movie's time scale; 0: to the end
};

/// The packets of a track: those that the file holds whole, up to the first that it does not.
class MPEG4PacketList
{
public:
    struct Packet {
        int64_t position; ///< of its first byte in the file
        uint32_t bytes;
    };

    explicit MPEG4PacketList(int64_t fileBytes) noexcept : fileBytes_(fileBytes) {}

    /// Makes room for so many more. False if a file of this length cannot have them.
    [[nodiscard]] bool expect(uint32_t count);
    /// False if the packet is the first that the file does not hold; none is taken from there on.
    bool add(int64_t position, uint32_t bytes);
    [[nodiscard]] int64_t count() const noexcept { return static_cast<int64_t>(packets_.size()); }
    [[nodiscard]] const Packet &at(int64_t index) const { return packets_[static_cast<std::size_t>(index)]; }
    [[nodiscard]] uint32_t largest() const noexcept { return largest_; } ///< bytes

private:
    int64_t fileBytes_;
    std::vector<Packet> packets_;
    uint32_t largest_ = 0;
    bool isOpen_ = true;
};

/// The first AAC or ALAC track of a file: how its packets are coded and where they lie. Of several descriptions of the
/// coding the first is taken for all packets; those that it does not fit are silent.
struct MPEG4Track {
    explicit MPEG4Track(int64_t fileBytes) noexcept : packets(fileBytes) {}

    AVCodecParametersOwner parameters;
    MPEG4PacketList packets;
    uint32_t trackID = 0;
    int64_t timescale = 0; ///< units a second
    int64_t duration = 0;  ///< in these units; 0 if not stated
    int64_t tabled = 0;    ///< of the packets that the movie itself lists, in these units
    MPEG4Edits edits;
    uint32_t movieTimescale = 0; ///< units a second of the edits' durations
    std::optional<MPEG4GaplessTag> tag;
};

/// kAudioFileUnsupportedDataFormatError if the file has no track of these kinds, kAudioFileInvalidFileError if it has
/// no header or its tables do not fit into it. Takes time and memory in proportion to the file's length. [blocks]
StatusOr<MPEG4Track> readMPEG4Track(ByteSource &source);

} // namespace kx
