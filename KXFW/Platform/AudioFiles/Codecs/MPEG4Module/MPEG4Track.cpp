#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Track.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>

namespace kx
{

namespace
{

constexpr int kInputBufferBytes = 32 << 10;
constexpr int kMaximumIdleReads = 1000; ///< reads without a packet

/// The byte source as the library's input. What is read in all is bounded, so that no file keeps the demuxer busy for
/// ever.
class Input
{
public:
    explicit Input(ByteSource &source)
        : source_(source), budget_(source.size() * 4 + (16 << 20)),
          context_(avio_alloc_context(static_cast<unsigned char *>(av_malloc(kInputBufferBytes)), kInputBufferBytes, 0,
                                      this, &Input::read, nullptr, &Input::seek))
    {
    }
    ~Input()
    {
        if (context_ != nullptr)
            av_freep(&context_->buffer);
        avio_context_free(&context_);
    }
    Input(const Input &) = delete;
    Input &operator=(const Input &) = delete;
    [[nodiscard]] AVIOContext *context() const noexcept { return context_; }

private:
    static int read(void *self, uint8_t *bytes, int count) noexcept
    {
        auto &input = *static_cast<Input *>(self);
        input.budget_ -= count;
        if (input.budget_ < 0)
            return AVERROR_EOF;
        const int64_t got = input.source_.readAt(input.position_, bytes, count);
        if (got < 0)
            return AVERROR(EIO);
        input.position_ += got;
        return got == 0 ? AVERROR_EOF : static_cast<int>(got);
    }

    static int64_t seek(void *self, int64_t offset, int whence) noexcept
    {
        auto &input = *static_cast<Input *>(self);
        const int64_t size = input.source_.size();
        int64_t base = 0;
        switch (whence & ~AVSEEK_FORCE) {
        case AVSEEK_SIZE:
            return size;
        case SEEK_SET:
            break;
        case SEEK_CUR:
            base = input.position_;
            break;
        case SEEK_END:
            base = size;
            break;
        default:
            return AVERROR(EINVAL);
        }
        if (offset < -base || offset > std::numeric_limits<int64_t>::max() - base)
            return AVERROR(EINVAL);
        input.position_ = base + offset;
        return input.position_;
    }

    ByteSource &source_;
    int64_t budget_; ///< bytes that may still be asked for
    int64_t position_ = 0;
    AVIOContext *context_;
};

/// Null if the file cannot be opened.
AVFormatContextOwner openDemuxer(const Input &input)
{
    const AVInputFormat *demuxer = av_find_input_format("mov");
    AVFormatContext *format = avformat_alloc_context();
    if (demuxer == nullptr || format == nullptr || input.context() == nullptr) {
        avformat_free_context(format);
        return nullptr;
    }
    format->pb = input.context();
    format->flags |= AVFMT_FLAG_CUSTOM_IO;
    format->max_streams = 100;
    AVDictionary *options = nullptr;
    av_dict_set(&options, "format_whitelist", "mov,mp4,m4a,3gp,3g2,mj2", 0);
    av_dict_set(&options, "codec_whitelist", "aac,alac", 0);
    av_dict_set(&options, "protocol_whitelist", "", 0);
    av_dict_set(&options, "advanced_editlist", "0", 0);
    av_dict_set(&options, "ignore_chapters", "1", 0);
    const int status = avformat_open_input(&format, nullptr, demuxer, &options); // frees `format` if it fails
    av_dict_free(&options);
    return AVFormatContextOwner(status < 0 ? nullptr : format);
}

AVStream *findSound(AVFormatContext &format)
{
    AVStream *found = nullptr;
    for (unsigned i = 0; i < format.nb_streams; ++i) {
        AVStream *stream = format.streams[i];
        const AVCodecID codec = stream->codecpar->codec_id;
        const bool isOurs = stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO &&
                            (codec == AV_CODEC_ID_AAC || codec == AV_CODEC_ID_ALAC);
        if (found == nullptr && isOurs)
            found = stream;
        else
            stream->discard = AVDISCARD_ALL;
    }
    return found;
}

/// The tables of a fragmented file come one by one as it is read.
void readAllFragments(AVFormatContext &format)
{
    const AVPacketOwner packet(av_packet_alloc());
    int idle = 0;
    while (packet != nullptr && idle < kMaximumIdleReads) {
        const int status = av_read_frame(&format, packet.get());
        if (status < 0 && status != AVERROR(EAGAIN))
            return;
        idle = status < 0 ? idle + 1 : 0;
        av_packet_unref(packet.get());
    }
}

void copyPackets(AVStream &stream, int64_t fileBytes, MPEG4Track &track)
{
    const int count = avformat_index_get_entries_count(&stream);
    track.packets.reserve(static_cast<std::size_t>(std::max(0, count)));
    for (int i = 0; i < count; ++i) {
        const AVIndexEntry *entry = avformat_index_get_entry(&stream, i);
        const bool isWhole = entry != nullptr && entry->size >= 0 && entry->pos >= 0 && entry->pos <= fileBytes &&
                             entry->size <= fileBytes - entry->pos;
        if (!isWhole || entry->size > static_cast<int>(kMaximumPacketBytes))
            break;
        const auto bytes = static_cast<uint32_t>(entry->size);
        track.packets.push_back({entry->pos, bytes});
        track.largestPacket = std::max(track.largestPacket, bytes);
    }
}

std::optional<MPEG4GaplessTag> findTag(const AVFormatContext &format, const AVStream &stream)
{
    const AVDictionaryEntry *entry = av_dict_get(format.metadata, "iTunSMPB", nullptr, 0);
    if (entry == nullptr)
        entry = av_dict_get(stream.metadata, "iTunSMPB", nullptr, 0);
    return entry == nullptr ? std::nullopt : parseMPEG4GaplessTag(entry->value);
}

bool fill(MPEG4Track &track, const MPEG4Layout &layout, AVFormatContext &format, AVStream &stream, int64_t fileBytes)
{
    if (layout.isFragmented)
        readAllFragments(format);
    track.parameters.reset(avcodec_parameters_alloc());
    if (!track.parameters || avcodec_parameters_copy(track.parameters.get(), stream.codecpar) < 0)
        return false;
    copyPackets(stream, fileBytes, track);
    track.timescale = stream.time_base.num == 1 ? stream.time_base.den : 0;
    track.duration = stream.duration == AV_NOPTS_VALUE ? 0 : std::max<int64_t>(0, stream.duration);
    track.movieTimescale = layout.movieTimescale;
    track.tag = findTag(format, stream);
    for (const MPEG4TrackEdits &edits : layout.tracks) {
        if (static_cast<int64_t>(edits.trackID) == stream.id)
            track.edits = edits;
    }
    return true;
}

} // namespace

std::optional<MPEG4GaplessTag> parseMPEG4GaplessTag(const char *text)
{
    constexpr uint64_t limit = uint64_t{1} << 40;
    std::array<uint64_t, 4> fields{}; // something else, delay, padding, length
    for (uint64_t &field : fields) {
        char *end = nullptr;
        field = std::strtoull(text, &end, 16);
        if (end == text)
            return std::nullopt;
        text = end;
    }
    if (fields[1] > limit || fields[3] == 0 || fields[3] > limit)
        return std::nullopt;
    return MPEG4GaplessTag{static_cast<int64_t>(fields[1]), static_cast<int64_t>(fields[3])};
}

Result<MPEG4Track> readMPEG4Track(ByteSource &source)
{
    const auto layout = readMPEG4Layout(source);
    if (!layout)
        return layout.status();
    const Input input(source);
    const AVFormatContextOwner format = openDemuxer(input);
    if (!format)
        return kAudioFileInvalidFileError;
    AVStream *stream = findSound(*format);
    if (stream == nullptr)
        return kAudioFileUnsupportedDataFormatError;
    MPEG4Track track;
    if (!fill(track, *layout, *format, *stream, source.size()))
        return kAudioFileUnspecifiedError;
    return track;
}

} // namespace kx
