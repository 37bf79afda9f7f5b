/// Ogg files: Vorbis, Opus and FLAC, alone or chained.
#include "KXFW/Platform/AudioFiles/Codecs/ChainDecoder.h"
#include "KXFW/Platform/AudioFiles/Codecs/FLACDecoder.h"
#include "KXFW/Platform/AudioFiles/Codecs/OggLinkDecoder.h"

#include <array>
#include <cstring>

namespace kx
{

namespace
{

StatusOr<ChainLink> chainLinkOf(const std::shared_ptr<ByteSource> &source, OggLink link)
{
    if (!link.isFLAC) {
        const DecodedFormat format = link.format;
        return ChainLink{format, [source, link = std::move(link)] { return OggLinkDecoder::make(source, link); }};
    }
    const auto open = [source, bytes = link.bytes, serial = link.serial] {
        return FLACDecoder::makeInOgg(source, bytes, serial);
    };
    const auto opened = open();
    return opened ? StatusOr<ChainLink>({(*opened)->format(), open}) : opened.status();
}

} // namespace

bool recognisesOgg(ByteSource &source)
{
    std::array<char, 4> head{};
    return source.readAt(0, head.data(), 4) == 4 && std::memcmp(head.data(), "OggS", 4) == 0;
}

DecoderResult openOgg(std::shared_ptr<ByteSource> source)
{
    auto found = findOggLinks(*source);
    if (!found)
        return found.status();
    std::vector<ChainLink> links;
    OSStatus status = noErr;
    for (OggLink &link : *found) {
        auto chained = chainLinkOf(source, std::move(link));
        if (chained)
            links.push_back(*std::move(chained));
        else
            status = chained.status();
    }
    if (source->error() != noErr || links.empty())
        return source->error() != noErr ? source->error() : status;
    return ChainDecoder::make(std::move(links));
}

} // namespace kx
