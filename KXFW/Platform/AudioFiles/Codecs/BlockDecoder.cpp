#include "KXFW/Platform/AudioFiles/Codecs/BlockDecoder.h"

#include <algorithm>
#include <cstring>

namespace kx
{

StatusOr<uint32_t> BlockDecoder::read(void *interleaved, uint32_t frames)
{
    auto *out = static_cast<std::byte *>(interleaved);
    const int64_t wanted = std::min<int64_t>(frames, format_.frames - position_);
    int64_t done = 0;
    while (done < wanted) {
        const Block ready = block();
        const int64_t count = std::min(wanted - done, ready.count);
        if (count == 0)
            break;
        const std::size_t bytes = static_cast<std::size_t>(count) * format_.frameBytes();
        if (ready.frames)
            std::memcpy(out, ready.frames, bytes);
        else
            std::memset(out, 0, bytes);
        out += bytes;
        done += count;
        position_ += count;
    }
    // The frames in front of a fault are good; the next read meets it at its start.
    const OSStatus status = done == 0 && wanted > 0 ? failure() : noErr;
    return status == noErr ? StatusOr<uint32_t>(static_cast<uint32_t>(done)) : status;
}

OSStatus BlockDecoder::seek(int64_t frame)
{
    if (frame < 0 || frame > format_.frames)
        return kExtAudioFileError_InvalidSeek;
    position_ = frame;
    return noErr;
}

} // namespace kx
