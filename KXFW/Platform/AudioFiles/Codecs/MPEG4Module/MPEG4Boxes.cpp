#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Boxes.h"

#include <algorithm>

namespace kx
{

namespace
{

bool mayBeCut(FourCharCode type)
{
    return type != fourCharCode("moov") && type != fourCharCode("ftyp");
}

} // namespace

uint64_t MPEG4BoxReader::number(int64_t offset, int64_t bytes)
{
    auto held = window_.view(offset, bytes);
    if (!held || static_cast<int64_t>(held->size()) < bytes)
        return 0;
    uint64_t value = 0;
    for (const std::byte byte : *held)
        value = value << 8 | static_cast<uint64_t>(byte);
    return value;
}

std::optional<MPEG4Box> MPEG4BoxReader::at(const MPEG4Box &parent, int64_t offset)
{
    if (offset > parent.end - 8)
        return std::nullopt;
    const bool isTop = parent.body == 0;
    const auto room = static_cast<uint64_t>(parent.end - offset);
    MPEG4Box box{number32(offset + 4), offset, offset + 8, 0};
    uint64_t size = number32(offset);
    if (size == 1) {
        size = number(offset + 8, 8);
        box.body += 8;
    } else if (size == 0 && isTop) {
        size = room;
    }
    if (size > room && !(isTop && mayBeCut(box.type)))
        return std::nullopt;
    box.end = offset + static_cast<int64_t>(std::min(size, room));
    return box.body <= box.end ? std::optional(box) : std::nullopt;
}

std::optional<MPEG4Box> MPEG4BoxReader::findChild(const MPEG4Box &parent, FourCharCode type)
{
    auto box = at(parent, parent.body);
    while (box && box->type != type)
        box = at(parent, box->end);
    return box;
}

std::optional<MPEG4Box> MPEG4BoxReader::find(const MPEG4Box &parent, std::initializer_list<FourCharCode> path)
{
    std::optional<MPEG4Box> box = parent;
    for (const FourCharCode type : path)
        box = box ? findChild(*box, type) : std::nullopt;
    return box;
}

} // namespace kx
