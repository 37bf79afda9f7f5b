#include "KXFW/Platform/AudioFiles/Codecs/OggLinks.h"

#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace kx
{

namespace
{

constexpr unsigned char kFLACHead[] = {0x7F, 'F', 'L', 'A', 'C'};
constexpr std::size_t kMaximumLinks = 4096;
constexpr std::size_t kMaximumStreams = 16; ///< side by side in a link
constexpr int64_t kIndexFrames = 8192;      ///< between two entries of the index

/// How a link's pages number its frames.
class Granules
{
public:
    /// A page that says it ends at `granule`, when `decoded` frames have been counted.
    void add(int64_t granule, int64_t decoded) noexcept
    {
        if (granule < 0)
            return;
        if (pages_++ == 0) {
            first_ = granule;
            firstDecoded_ = decoded;
        }
        lastFrames_ = decoded - decoded_;
        lastDifference_ = granule - granule_;
        granule_ = granule;
        decoded_ = decoded;
    }
    /// Frames of the `decoded` that the first page leaves out: it counts to fewer than it has. If it is the last page
    /// too, the end is left out.
    [[nodiscard]] int64_t leadIn(int64_t decoded) const noexcept
    {
        const bool isOnly = pages_ == 1 && decoded == decoded_;
        return pages_ > 0 && !isOnly ? std::max<int64_t>(firstDecoded_ - first_, 0) : 0;
    }
    /// Frames of the `decoded` that the last page leaves out.
    [[nodiscard]] int64_t leadOut(int64_t decoded) const noexcept
    {
        const bool isLast = decoded == decoded_ && lastDifference_ >= 0;
        return isLast ? std::max<int64_t>(lastFrames_ - lastDifference_, 0) : 0;
    }

private:
    int pages_ = 0;
    int64_t first_ = 0;
    int64_t firstDecoded_ = 0;
    int64_t granule_ = 0;
    int64_t decoded_ = 0;
    int64_t lastFrames_ = 0;
    int64_t lastDifference_ = 0;
};

/// A stream of the link whose pages are walked over.
class OpenLink
{
public:
    OpenLink(int64_t begin, ogg_page &first)
        : packets_(static_cast<uint32_t>(ogg_page_serialno(&first))),
          link_{{begin, begin}, static_cast<uint32_t>(ogg_page_serialno(&first)), false, {}, 0, {}}
    {
        packets_.add(first);
        const ogg_packet *packet = packets_.next();
        if (packet == nullptr)
            return;
        link_.isFLAC = packet->bytes >= 9 && std::memcmp(packet->packet, kFLACHead, sizeof kFLACHead) == 0;
        codec_ = makeOggCodec(*packet);
        if (codec_)
            takeHeader(*packet);
    }

    [[nodiscard]] bool isKnown() const noexcept { return link_.isFLAC || codec_; }
    [[nodiscard]] uint32_t serial() const noexcept { return link_.serial; }

    void add(ogg_page &page, int64_t offset)
    {
        if (!codec_ || status_ != noErr || static_cast<uint32_t>(ogg_page_serialno(&page)) != link_.serial)
            return;
        packets_.add(page);
        bool isFirst = ogg_page_continued(&page) == 0;
        while (const ogg_packet *packet = packets_.next()) {
            if (headers_ < codec_->headerPackets())
                takeHeader(*packet);
            else
                takeSound(*packet, isFirst, offset);
            if (status_ != noErr)
                return;
            isFirst = false;
        }
        if (!link_.index.empty()) // pages of headers are at 0 in any case
            granules_.add(ogg_page_granulepos(&page), decoded_);
    }

    /// The link as it ends at byte `end`, or why it cannot be played.
    StatusOr<OggLink> finish(int64_t end)
    {
        link_.bytes.end = end;
        if (link_.isFLAC)
            return std::move(link_);
        if (status_ != noErr || headers_ < codec_->headerPackets())
            return status_ != noErr ? status_ : kAudioFileInvalidFileError;
        link_.skip = codec_->delay().value_or(granules_.leadIn(decoded_));
        const int64_t frames = std::max<int64_t>(decoded_ - granules_.leadOut(decoded_) - link_.skip, 0);
        const auto rate = static_cast<double>(codec_->rate());
        const AudioStreamBasicDescription file{rate, codec_->formatID(), 0, 0, 0, 0, codec_->channels(), 0, 0};
        link_.format = {file, SampleKind::Float32, codec_->channels(), rate, frames};
        return std::move(link_);
    }

private:
    void takeHeader(const ogg_packet &packet)
    {
        status_ = codec_->addHeader(packet);
        if (status_ != noErr || ++headers_ < codec_->headerPackets())
            return;
        const bool isSupported = codec_->channels() >= 1 && codec_->channels() <= kMaximumChannels &&
                                 codec_->rate() >= kMinimumSampleRate && codec_->rate() <= kMaximumSampleRate;
        status_ = isSupported ? noErr : kAudioFileUnsupportedDataFormatError;
    }

    void takeSound(const ogg_packet &packet, bool isFirstOfPage, int64_t pageOffset)
    {
        const auto frames = codec_->framesOf(packet);
        if (!frames)
            return;
        decoded_ += *frames;
        if (link_.index.empty())
            link_.index.push_back(isFirstOfPage ? OggEntry{pageOffset, 0, 0}
                                                : OggEntry{link_.bytes.begin, 0, headers_});
        else if (isFirstOfPage && decoded_ - link_.index.back().frame >= kIndexFrames)
            link_.index.push_back({pageOffset, decoded_, 0});
    }

    OggPackets packets_;
    OggLink link_;
    std::unique_ptr<OggCodec> codec_;
    Granules granules_;
    OSStatus status_ = noErr;
    int headers_ = 0;
    int64_t decoded_ = 0; ///< frames of all packets so far
};

/// The walk over a file.
class LinkWalk
{
public:
    explicit LinkWalk(ByteSource &source) : source_(source), pages_(source, {0, source.size()}) {}

    StatusOr<std::vector<OggLink>> run()
    {
        while (ogg_page *page = pages_.next()) {
            const bool isHead = ogg_page_bos(page) != 0;
            if (isHead && !isInHeads_)
                finish(pages_.pageOffset());
            isInHeads_ = isHead;
            if (isHead)
                begin(*page);
            else
                for (const auto &stream : streams_)
                    stream->add(*page, pages_.pageOffset());
            if (links_.size() > kMaximumLinks)
                return kAudioFileUnsupportedDataFormatError;
        }
        if (source_.error() != noErr)
            return source_.error();
        finish(source_.size());
        if (links_.empty())
            return status_;
        return std::move(links_);
    }

private:
    /// Takes the first page of a stream. Those of a link come together.
    void begin(ogg_page &page)
    {
        const auto serial = static_cast<uint32_t>(ogg_page_serialno(&page));
        std::erase_if(streams_, [serial](const auto &other) { return other->serial() == serial; });
        if (streams_.size() >= kMaximumStreams)
            return;
        auto stream = std::make_unique<OpenLink>(pages_.pageOffset(), page);
        if (!stream->isKnown() && links_.empty())
            status_ = kAudioFileUnsupportedDataFormatError;
        if (stream->isKnown())
            streams_.push_back(std::move(stream));
    }

    /// Of the streams of a link the first that can be played is.
    void finish(int64_t end)
    {
        auto streams = std::exchange(streams_, {});
        for (const auto &stream : streams) {
            auto link = stream->finish(end);
            if (link)
                return links_.push_back(*std::move(link));
            if (links_.empty())
                status_ = link.status();
        }
    }

    ByteSource &source_;
    OggPageReader pages_;
    std::vector<std::unique_ptr<OpenLink>> streams_; ///< of the link that is walked over
    std::vector<OggLink> links_;
    bool isInHeads_ = false; ///< the page before was the first of a stream
    OSStatus status_ = kAudioFileInvalidFileError;
};

} // namespace

std::unique_ptr<OggCodec> makeOggCodec(const ogg_packet &first)
{
    auto codec = makeVorbisCodec(first);
    return codec ? std::move(codec) : makeOpusCodec(first);
}

std::unique_ptr<OggCodec> makeOggCodec(ByteSource &source, const OggLink &link)
{
    OggPageReader pages(source, link.bytes);
    OggPackets packets(link.serial);
    std::unique_ptr<OggCodec> codec;
    for (int headers = 0; !codec || headers < codec->headerPackets();) {
        const ogg_packet *packet = packets.next();
        if (packet == nullptr) {
            ogg_page *page = pages.next();
            if (page == nullptr)
                return nullptr;
            packets.add(*page);
            continue;
        }
        if (!codec)
            codec = makeOggCodec(*packet);
        if (!codec || codec->addHeader(*packet) != noErr)
            return nullptr;
        ++headers;
    }
    return codec;
}

StatusOr<std::vector<OggLink>> findOggLinks(ByteSource &source)
{
    return LinkWalk(source).run();
}

} // namespace kx
