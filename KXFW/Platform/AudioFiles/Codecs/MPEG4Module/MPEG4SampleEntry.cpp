#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4SampleEntry.h"

#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace kx
{

namespace
{

constexpr int64_t kMaximumConfigurationBytes = 4096;
constexpr int64_t kMaximumDescriptors = 16;

/// A part of the file.
struct Range {
    int64_t begin = 0;
    int64_t end = 0;
};

bool isAAC(uint64_t objectType)
{
    return objectType == 0x40 || (objectType >= 0x66 && objectType <= 0x68);
}

/// A descriptor's tag and where its contents are.
struct Descriptor {
    uint64_t tag;
    Range contents;
};

/// The length is written in groups of 7 bits.
Descriptor descriptorAt(MPEG4BoxReader &boxes, int64_t offset, int64_t limit)
{
    const uint64_t tag = boxes.number(offset++, 1);
    int64_t length = 0;
    for (int group = 0; group < 4; ++group) {
        const auto byte = static_cast<int64_t>(boxes.number(offset++, 1));
        length = length << 7 | (byte & 127);
        if (byte < 128)
            break;
    }
    return {tag, {std::min(offset, limit), std::min(offset + length, limit)}};
}

/// The decoder's configuration in an 'esds' box, empty unless it is one of AAC.
Range aacConfiguration(MPEG4BoxReader &boxes, const MPEG4Box &box)
{
    constexpr uint64_t stream = 3;
    constexpr uint64_t decoder = 4;
    constexpr uint64_t configuration = 5;
    int64_t offset = box.body + 4;
    int64_t limit = box.end;
    for (int i = 0; i < kMaximumDescriptors && offset < limit; ++i) {
        const auto [tag, contents] = descriptorAt(boxes, offset, limit);
        offset = contents.end; // over what does not matter
        if (tag == configuration)
            return contents;
        if (tag == decoder && !isAAC(boxes.number(contents.begin, 1)))
            return {};
        if (tag == decoder)
            offset = contents.begin + 13;
        if (tag == stream) {
            const uint64_t flags = boxes.number(contents.begin + 2, 1);
            const int64_t address =
                (flags & 64) != 0 ? 1 + static_cast<int64_t>(boxes.number(contents.begin + 3, 1)) : 0;
            offset = contents.begin + 3 + ((flags & 128) != 0 ? 2 : 0) + address + ((flags & 32) != 0 ? 2 : 0);
        }
        if (tag == decoder || tag == stream)
            limit = contents.end;
    }
    return {};
}

/// The child of this type, which lies one box deeper in one of the dialects.
std::optional<MPEG4Box> findDeep(MPEG4BoxReader &boxes, const MPEG4Box &entry, FourCharCode type)
{
    const auto wrapped = boxes.find(entry, {fourCharCode("wave"), type});
    return wrapped ? wrapped : boxes.find(entry, {type});
}

struct Sound {
    uint32_t channels;
    uint32_t bits;
    double rate; ///< frames a second
    int64_t headBytes;
};

/// The fixed part of an entry. There are three versions of it in one of the two dialects, and one in the other, which
/// counts versions elsewhere.
Sound soundOf(MPEG4BoxReader &boxes, const MPEG4Box &entry, bool hasVersions)
{
    const uint64_t version = hasVersions ? boxes.number(entry.body + 8, 2) : 0;
    if (version == 2)
        return {boxes.number32(entry.body + 40), boxes.number32(entry.body + 48),
                std::bit_cast<double>(boxes.number(entry.body + 32, 8)), 64};
    return {static_cast<uint32_t>(boxes.number(entry.body + 16, 2)),
            static_cast<uint32_t>(boxes.number(entry.body + 18, 2)),
            static_cast<double>(boxes.number32(entry.body + 24)) / 65536, version == 1 ? 44 : 28};
}

AVCodecParametersOwner makeParameters(MPEG4BoxReader &boxes, AVCodecID codec, const Sound &sound, Range configuration)
{
    const int64_t bytes = configuration.end - configuration.begin;
    AVCodecParametersOwner parameters(avcodec_parameters_alloc());
    if (!parameters || bytes <= 0 || bytes > kMaximumConfigurationBytes)
        return nullptr;
    parameters->extradata =
        static_cast<uint8_t *>(av_mallocz(static_cast<std::size_t>(bytes) + AV_INPUT_BUFFER_PADDING_SIZE));
    if (parameters->extradata == nullptr)
        return nullptr;
    parameters->extradata_size = static_cast<int>(bytes);
    for (int64_t i = 0; i < bytes; ++i)
        parameters->extradata[i] = static_cast<uint8_t>(boxes.number(configuration.begin + i, 1));
    parameters->codec_type = AVMEDIA_TYPE_AUDIO;
    parameters->codec_id = codec;
    const bool isRate = sound.rate >= kMinimumSampleRate && sound.rate <= kMaximumSampleRate;
    parameters->sample_rate = isRate ? static_cast<int>(std::lround(sound.rate)) : 0;
    if (sound.channels >= 1 && sound.channels <= kMaximumChannels)
        av_channel_layout_default(&parameters->ch_layout, static_cast<int>(sound.channels));
    parameters->bits_per_coded_sample = static_cast<int>(std::min<uint32_t>(sound.bits, 32));
    return parameters;
}

} // namespace

AVCodecParametersOwner readMPEG4SampleEntry(MPEG4BoxReader &boxes, const MPEG4Box &track)
{
    const auto description =
        boxes.find(track, {fourCharCode("mdia"), fourCharCode("minf"), fourCharCode("stbl"), fourCharCode("stsd")});
    if (!description || description->bodyBytes() < 8)
        return nullptr;
    MPEG4Box entries = *description;
    entries.body += 8;
    auto entry = boxes.at(entries, entries.body);
    if (!entry || (entry->type != fourCharCode("mp4a") && entry->type != fourCharCode("alac")))
        return nullptr;
    const bool isQuickTime = boxes.number32(8) == fourCharCode("qt  ");
    const Sound sound = soundOf(boxes, *entry, isQuickTime || boxes.number(description->body, 1) == 0);
    if (entry->bodyBytes() < sound.headBytes)
        return nullptr;
    const bool isALAC = entry->type == fourCharCode("alac");
    MPEG4Box children = *entry;
    children.body += sound.headBytes;
    const auto codecBox = findDeep(boxes, children, isALAC ? fourCharCode("alac") : fourCharCode("esds"));
    if (!codecBox)
        return nullptr;
    if (isALAC)
        return makeParameters(boxes, AV_CODEC_ID_ALAC, sound, {codecBox->start, codecBox->end});
    return makeParameters(boxes, AV_CODEC_ID_AAC, sound, aacConfiguration(boxes, *codecBox));
}

} // namespace kx
