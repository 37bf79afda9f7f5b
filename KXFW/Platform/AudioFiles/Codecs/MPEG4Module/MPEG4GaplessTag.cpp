#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4GaplessTag.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>
#include <string_view>

namespace kx
{

namespace
{

constexpr std::string_view kTagName = "iTunSMPB";
constexpr int64_t kMaximumTextBytes = 256;

/// The text that begins `offset` bytes into the body.
std::string textOf(MPEG4BoxReader &boxes, const MPEG4Box &box, int64_t offset)
{
    std::string text;
    const int64_t end = std::min(box.end, box.body + offset + kMaximumTextBytes);
    for (int64_t at = box.body + offset; at < end; ++at)
        text += static_cast<char>(boxes.number(at, 1));
    return text;
}

/// Hexadecimal numbers of which the second to fourth are delay, padding and length.
std::optional<MPEG4GaplessTag> parse(const char *text)
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

/// The contents of a 'meta' box, which has a version in front in one of the two dialects.
MPEG4Box withoutVersion(MPEG4BoxReader &boxes, MPEG4Box meta)
{
    const bool hasVersion = boxes.number32(meta.body + 4) != fourCharCode("hdlr");
    meta.body = std::min(meta.end, meta.body + (hasVersion ? 4 : 0));
    return meta;
}

std::optional<MPEG4GaplessTag> tagInMeta(MPEG4BoxReader &boxes, const MPEG4Box &meta)
{
    const auto list = boxes.find(withoutVersion(boxes, meta), {fourCharCode("ilst")});
    for (auto item = list ? boxes.at(*list, list->body) : list; item; item = boxes.at(*list, item->end)) {
        const auto name = item->type == fourCharCode("----") ? boxes.find(*item, {fourCharCode("name")}) : std::nullopt;
        if (!name || textOf(boxes, *name, 4) != kTagName)
            continue;
        const auto data = boxes.find(*item, {fourCharCode("data")});
        return data ? parse(textOf(boxes, *data, 8).c_str()) : std::nullopt;
    }
    return std::nullopt;
}

} // namespace

std::optional<MPEG4GaplessTag> findMPEG4GaplessTag(MPEG4BoxReader &boxes, const MPEG4Box &parent)
{
    std::optional<MPEG4GaplessTag> tag;
    for (auto box = boxes.at(parent, parent.body); box && !tag; box = boxes.at(parent, box->end)) {
        if (box->type == fourCharCode("meta"))
            tag = tagInMeta(boxes, *box);
        else if (box->type == fourCharCode("udta") && parent.type != box->type)
            tag = findMPEG4GaplessTag(boxes, *box);
    }
    return tag;
}

} // namespace kx
