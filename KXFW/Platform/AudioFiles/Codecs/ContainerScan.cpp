#include "KXFW/Platform/AudioFiles/Codecs/ContainerScan.h"

#include "KXFW/Platform/AudioFiles/Codecs/ByteWindow.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

namespace kx
{

namespace
{

constexpr int kMaximumChunks = 4096;

/// Bytes of the file's head; those past its end are zeros.
template <std::size_t N> class Head
{
public:
    Head(ByteSource &source, int64_t offset) : count_(source.readAt(offset, bytes_.data(), int64_t{N})) {}

    [[nodiscard]] bool isWhole() const { return count_ == int64_t{N}; }
    [[nodiscard]] bool has(std::size_t at, std::string_view text) const
    {
        return std::memcmp(bytes_.data() + at, text.data(), text.size()) == 0;
    }
    [[nodiscard]] uint64_t big(std::size_t at, std::size_t bytes) const
    {
        uint64_t value = 0;
        for (std::size_t i = 0; i < bytes; ++i)
            value = value << 8 | bytes_[at + i];
        return value;
    }
    [[nodiscard]] uint64_t little(std::size_t at, std::size_t bytes) const
    {
        uint64_t value = 0;
        for (std::size_t i = bytes; i > 0; --i)
            value = value << 8 | bytes_[at + i - 1];
        return value;
    }
    [[nodiscard]] uint64_t number(std::size_t at, std::size_t bytes, std::endian order) const
    {
        return order == std::endian::big ? big(at, bytes) : little(at, bytes);
    }

private:
    std::array<uint8_t, N> bytes_{};
    int64_t count_;
};

/// How one kind of container writes its chunks.
struct Grammar {
    int64_t firstChunk;
    uint32_t idBytes;
    uint32_t sizeBytes;
    std::endian order;
    bool sizeCountsHead;
    int64_t alignment;
    std::string_view formatID;
    std::string_view dataID;
};

using namespace std::string_view_literals;
constexpr auto kWave64Fmt = "fmt \xF3\xAC\xD3\x11\x8C\xD1\x00\xC0\x4F\x8E\xDB\x8A"sv;
constexpr auto kWave64Data = "data\xF3\xAC\xD3\x11\x8C\xD1\x00\xC0\x4F\x8E\xDB\x8A"sv;
constexpr auto kWave64Riff = "riff\x2E\x91\xCF\x11\xA5\xD6\x28\xDB\x04\xC1\x00\x00"sv;

std::optional<Grammar> grammarOf(Container container)
{
    switch (container) {
    case Container::RIFF:
    case Container::RF64:
        return Grammar{12, 4, 4, std::endian::little, false, 2, "fmt ", "data"};
    case Container::RIFX:
        return Grammar{12, 4, 4, std::endian::big, false, 2, "fmt ", "data"};
    case Container::Wave64:
        return Grammar{40, 16, 8, std::endian::little, true, 8, kWave64Fmt, kWave64Data};
    case Container::AIFF:
        return Grammar{12, 4, 4, std::endian::big, false, 2, "COMM", "SSND"};
    case Container::CAF:
        return Grammar{8, 4, 8, std::endian::big, false, 1, "desc", "data"};
    default:
        return std::nullopt;
    }
}

/// An 80-bit big-endian float, as frame rates are written in AIFF.
double extended(const Head<32> &head, std::size_t at)
{
    const auto exponent = static_cast<int>(head.big(at, 2));
    return exponent >= 0x8000 ? -1 : std::ldexp(static_cast<double>(head.big(at + 2, 8)), exponent - 16383 - 63);
}

OSStatus checkFormat(uint64_t channels, double rate)
{
    const bool supported =
        channels >= 1 && channels <= kMaximumChannels && rate >= kMinimumSampleRate && rate <= kMaximumSampleRate;
    return supported ? noErr : kAudioFileUnsupportedDataFormatError;
}

OSStatus checkFormatChunk(ByteSource &source, Container container, int64_t body)
{
    const Head<32> head(source, body);
    if (container == Container::AIFF)
        return checkFormat(head.big(0, 2), extended(head, 8));
    if (container == Container::CAF)
        return checkFormat(head.big(24, 4), std::bit_cast<double>(head.big(0, 8)));
    const auto order = container == Container::RIFX ? std::endian::big : std::endian::little;
    return checkFormat(head.number(2, 2, order), static_cast<double>(head.number(4, 4, order)));
}

/// The part of a packet table from the first size on that has too many bytes or runs out of the table. What is in front
/// of it can be played, and a size of 0 ends it. Sizes have 7 bits a byte, behind a header of 24.
ByteRange badPacketSizes(ByteSource &source, ByteRange table)
{
    constexpr int kMaximumBytes = 5;
    ByteWindow window(source);
    int bytesOfSize = 0;
    int64_t sizeBegin = table.begin + 24;
    for (int64_t at = sizeBegin; at < table.end; ++at) {
        const auto byte = window.view(at, std::min<int64_t>(table.end - at, 4096));
        if (!byte || (*byte).empty())
            break;
        const bool isLast = ((*byte)[0] & std::byte{0x80}) == std::byte{0};
        if (++bytesOfSize > kMaximumBytes)
            break;
        if (isLast) {
            bytesOfSize = 0;
            sizeBegin = at + 1;
        }
    }
    return bytesOfSize > 0 ? ByteRange{sizeBegin, table.end} : ByteRange{};
}

/// One walk over the chunks of a file.
class ChunkWalk
{
public:
    ChunkWalk(ByteSource &source, Container container, const Grammar &grammar)
        : source_(source), container_(container), grammar_(grammar), offset_(grammar.firstChunk)
    {
    }

    ContainerScan run()
    {
        ContainerScan result = walk();
        result.zeroed = zeroed_;
        return result;
    }

private:
    ContainerScan walk()
    {
        for (int i = 0; i < kMaximumChunks; ++i)
            if (const auto result = step())
                return *result;
        return stop();
    }

    [[nodiscard]] ContainerScan all() const { return {noErr, source_.size()}; }
    /// What follows is no chunk: of no matter behind the samples, fatal before them.
    [[nodiscard]] ContainerScan stop() const
    {
        return seenData_ ? ContainerScan{noErr, offset_} : ContainerScan{kAudioFileInvalidFileError, 0};
    }

    /// Looks at the chunk at offset_ and goes to the next; a result when the walk has ended.
    std::optional<ContainerScan> step()
    {
        const Head<24> head(source_, offset_);
        if (source_.error() != noErr)
            return ContainerScan{source_.error(), 0};
        const int64_t headBytes = int64_t{grammar_.idBytes} + grammar_.sizeBytes;
        if (offset_ + headBytes > source_.size())
            return all();
        const bool isData = head.has(0, grammar_.dataID);
        const uint64_t size = head.number(grammar_.idBytes, grammar_.sizeBytes, grammar_.order);
        const uint64_t room =
            static_cast<uint64_t>(source_.size() - offset_ - (grammar_.sizeCountsHead ? 0 : headBytes));
        const bool isUnstated = size == 0 || (grammar_.sizeBytes == 4 && size == UINT32_MAX);
        if (isData && (isUnstated || size > room))
            return all(); // never closed, cut short or lying: the samples are what is there
        if (size > room || (grammar_.sizeCountsHead && size < static_cast<uint64_t>(headBytes)))
            return stop();
        if (head.has(0, grammar_.formatID))
            if (const OSStatus status = checkFormatChunk(source_, container_, offset_ + headBytes); status != noErr)
                return ContainerScan{source_.error() != noErr ? source_.error() : status, 0};
        const int64_t body = offset_ + headBytes;
        if (container_ == Container::CAF && head.has(0, "pakt")) {
            if (std::exchange(seenPackets_, true)) // which of them would be read is anyone's guess
                return ContainerScan{kAudioFileInvalidFileError, 0};
            zeroed_ = badPacketSizes(source_, {body, body + static_cast<int64_t>(size)});
        }
        seenData_ = seenData_ || isData;
        const int64_t whole = static_cast<int64_t>(size) + (grammar_.sizeCountsHead ? 0 : headBytes);
        offset_ += (whole + grammar_.alignment - 1) / grammar_.alignment * grammar_.alignment;
        return std::nullopt;
    }

    ByteSource &source_;
    Container container_;
    const Grammar &grammar_;
    int64_t offset_;
    bool seenData_ = false;
    bool seenPackets_ = false; ///< a packet table
    ByteRange zeroed_{};
};

} // namespace

Container containerOf(ByteSource &source)
{
    const Head<40> head(source, 0);
    if (head.has(8, "WAVE"))
        return head.has(0, "RIFF")   ? Container::RIFF
               : head.has(0, "RIFX") ? Container::RIFX
               : head.has(0, "RF64") ? Container::RF64
                                     : Container::None;
    if (head.has(0, kWave64Riff))
        return Container::Wave64;
    if (head.has(0, "FORM") && (head.has(8, "AIFF") || head.has(8, "AIFC")))
        return Container::AIFF;
    if (head.has(0, "caff"))
        return Container::CAF;
    if (head.has(0, ".snd") || head.has(0, "dns."))
        return Container::AU;
    return Container::None;
}

ContainerScan scanContainer(ByteSource &source, Container container)
{
    if (const auto grammar = grammarOf(container))
        return ChunkWalk(source, container, *grammar).run();
    if (container == Container::AU) {
        const Head<32> head(source, 0);
        const auto order = head.has(0, "dns.") ? std::endian::little : std::endian::big;
        return {checkFormat(head.number(20, 4, order), static_cast<double>(head.number(16, 4, order))), source.size()};
    }
    return {noErr, source.size()};
}

} // namespace kx
