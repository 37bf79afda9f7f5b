/// MPEG audio, layers I to III. The walk over the frame headers says where each frame is and so how long the file is;
/// libmpg123 is given one whole frame at a time and decodes it. A frame that cannot be decoded is silent, so that the
/// length announced is the length delivered. Frames of another format than the first one's are left out.
#include "KXFW/Platform/AudioFiles/Codecs/BlockDecoder.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEGFrameDecoder.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEGFrameWalk.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEGInfoTag.h"

#include <algorithm>
#include <array>
#include <new>
#include <vector>

namespace kx
{

namespace
{

/// Frames between two entries of the index. A decoder started at such a frame has its filters in the same phase as the
/// straight decode, and so rounds alike.
constexpr int64_t kIndexStep = 8;
constexpr int64_t kMaximumPreFrames = 512;

/// What the walk over a whole file finds.
struct MPEGStream {
    MPEGFrameHeader header;     ///< of the first frame of sound
    std::vector<int64_t> index; ///< the position of every kIndexStep-th frame
    int64_t frameCount = 0;     ///< frames of sound
    int64_t preFrames = 10;     ///< to decode before a frame so that it comes out as in the straight decode
    std::optional<MPEGInfoTag> tag;
};

/// How far the sound of a frame reaches back: its main data may begin 511 bytes (255 in the versions of low rates)
/// earlier, and the filters remember two frames.
int64_t preFramesOf(const MPEGFrameHeader &header, int64_t smallestMainData)
{
    constexpr int64_t usual = 10;
    const int64_t reservoir = header.version == 10 ? 511 : 255;
    if (header.layer != 3)
        return usual;
    return std::clamp(2 + (reservoir + smallestMainData - 1) / smallestMainData, usual, kMaximumPreFrames);
}

/// False if there is no frame.
bool scan(MPEGFrameWalk &walk, MPEGStream &stream)
{
    MPEGFrame frame{};
    if (!walk.start() || !walk.next(frame))
        return false;
    stream.header = frame.header;
    if (const uint8_t *bytes = walk.bytesAt(frame.position, frame.header.bytes))
        stream.tag = parseMPEGInfoTag(frame.header, bytes);
    bool isSound = !stream.tag || walk.next(frame);
    int64_t smallest = stream.header.bytes;
    for (; isSound; isSound = walk.next(frame)) {
        if (stream.frameCount++ % kIndexStep == 0)
            stream.index.push_back(frame.position);
        smallest = std::min<int64_t>(smallest, frame.header.bytes - frame.header.sideBytes);
    }
    stream.preFrames = preFramesOf(stream.header, smallest);
    return true;
}

FourCharCode formatIDOf(uint32_t layer)
{
    constexpr std::array ids{kAudioFormatMPEGLayer1, kAudioFormatMPEGLayer2, kAudioFormatMPEGLayer3};
    return ids[layer - 1];
}

DecodedFormat formatOf(const MPEGFrameHeader &header, int64_t frames)
{
    const AudioStreamBasicDescription file{
        static_cast<double>(header.rate), formatIDOf(header.layer), 0, 0, header.samples, 0, header.channels, 0, 0};
    return {file, SampleKind::Float32, header.channels, static_cast<double>(header.rate), frames};
}

class MPEGAudioDecoder final : public BlockDecoder
{
public:
    MPEGAudioDecoder(std::shared_ptr<ByteSource> source, const MPEGFrameWalk &walk, MPEGStream stream)
        : source_(std::move(source)), walk_(walk), stream_(std::move(stream)), frameDecoder_(stream_.header),
          samplesPerFrame_(stream_.header.samples)
    {
        const MPEGTrim trim = trimOf(stream_.tag, stream_.frameCount, samplesPerFrame_);
        skip_ = trim.skip;
        format_ = formatOf(stream_.header, trim.frames);
        decoded_.resize(static_cast<std::size_t>(samplesPerFrame_) * format_.channels);
        if (isUsable())
            restartAt(0);
    }

    [[nodiscard]] bool isUsable() const noexcept { return frameDecoder_.isUsable(); }

private:
    Block block() override
    {
        if (!prepare())
            return {};
        const int64_t inFrame = (skip_ + position_) % samplesPerFrame_;
        return {decoded_.data() + inFrame * format_.channels, samplesPerFrame_ - inFrame};
    }

    [[nodiscard]] OSStatus failure() const noexcept override { return source_->error(); }

    /// Has the frame of sound at position_ in decoded_; false if it cannot be read.
    bool prepare()
    {
        const int64_t target = (skip_ + position_) / samplesPerFrame_;
        const int64_t first = std::max<int64_t>(0, target - stream_.preFrames) / kIndexStep * kIndexStep;
        if (target < next_ - 1 || first > next_)
            restartAt(first);
        while (next_ <= target) {
            if (!decodeNext())
                return false;
        }
        return true;
    }

    /// The next frame to decode is number `frame`, a multiple of kIndexStep.
    void restartAt(int64_t frame)
    {
        frameDecoder_.restart();
        const auto entry = static_cast<std::size_t>(frame / kIndexStep);
        if (entry < stream_.index.size())
            walk_.moveTo(stream_.index[entry]);
        next_ = frame;
    }

    /// Decodes frame next_ to decoded_. After a failure the next call starts anew.
    bool decodeNext()
    {
        MPEGFrame frame{};
        const uint8_t *bytes = nullptr;
        if (walk_.next(frame))
            bytes = walk_.bytesAt(frame.position, frame.header.bytes);
        if (bytes == nullptr) {
            next_ = INT64_MAX;
            return false;
        }
        frameDecoder_.decode(frame.header, bytes, decoded_);
        ++next_;
        return true;
    }

    std::shared_ptr<ByteSource> source_;
    MPEGFrameWalk walk_;
    MPEGStream stream_;
    MPEGFrameDecoder frameDecoder_;
    int64_t samplesPerFrame_;
    int64_t skip_ = 0; ///< decoded samples a channel in front of frame 0
    int64_t next_ = 0; ///< the number of the MPEG frame to decode next; the one before is in decoded_
    std::vector<float> decoded_;
};

} // namespace

bool recognisesMPEGAudio(ByteSource &source)
{
    try {
        return MPEGFrameWalk(source, findMPEGAudioRange(source)).start();
    } catch (const std::bad_alloc &) {
        return false;
    }
}

DecoderResult openMPEGAudio(std::shared_ptr<ByteSource> source)
{
    MPEGFrameWalk walk(*source, findMPEGAudioRange(*source));
    MPEGStream stream;
    const bool isFound = scan(walk, stream);
    if (source->error() != noErr)
        return source->error();
    if (!isFound)
        return kAudioFileInvalidFileError;
    auto decoder = std::make_unique<MPEGAudioDecoder>(std::move(source), walk, std::move(stream));
    if (!decoder->isUsable())
        return kAudioFileUnsupportedDataFormatError;
    return DecoderResult(std::move(decoder));
}

} // namespace kx
