/// FLAC files of their own, with or without a tag in front.
#include "KXFW/Platform/AudioFiles/Codecs/FLACDecoder.h"

#include <array>
#include <cstring>

namespace kx
{

bool recognisesFLAC(ByteSource &source)
{
    std::array<uint8_t, 10> head{};
    source.readAt(0, head.data(), head.size());
    int64_t offset = 0;
    if (std::memcmp(head.data(), "ID3", 3) == 0) // the size of the tag has 7 bits a byte
        offset = 10 + (int64_t{head[6] & 127} << 21 | (head[7] & 127) << 14 | (head[8] & 127) << 7 | (head[9] & 127));
    std::array<char, 4> name{};
    return source.readAt(offset, name.data(), 4) == 4 && std::memcmp(name.data(), "fLaC", 4) == 0;
}

DecoderResult openFLAC(std::shared_ptr<ByteSource> source)
{
    const ByteRange all{0, source->size()};
    return FLACDecoder::make(std::move(source), all);
}

} // namespace kx
