#include "Apps/kxtool/Failure.h"

#include <array>
#include <cstdio>

namespace kxtool
{

namespace
{

/// The length of the UTF-8 character that `text` starts with, 0 where its bytes are no such character.
std::size_t characterLength(std::string_view text)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(i < text.size() ? text[i] : 0); };
    const unsigned char first = byte(0);
    if (first < 0x80)
        return 1;
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4)
        return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
    const bool overlong = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xF0 && byte(1) < 0x90);
    const bool outside = (first == 0xED && byte(1) > 0x9F) || (first == 0xF4 && byte(1) > 0x8F);
    return overlong || outside ? 0 : length;
}

/// C0 and C1 controls and DEL, which could move the cursor or start another line.
bool isControl(std::string_view character)
{
    const auto first = static_cast<unsigned char>(character[0]);
    return first < 0x20 || first == 0x7F ||
           (first == 0xC2 && character.size() == 2 && static_cast<unsigned char>(character[1]) < 0xA0);
}

} // namespace

std::string printable(std::string_view text)
{
    std::string line;
    while (!text.empty()) {
        const std::size_t length = characterLength(text);
        const std::string_view character = text.substr(0, length == 0 ? 1 : length);
        if (length != 0 && !isControl(character)) {
            line += character;
        } else {
            for (const char c : character) {
                std::array<char, 5> escaped{};
                std::snprintf(escaped.data(), escaped.size(), "\\x%02x", static_cast<unsigned>(c) & 0xFFU);
                line += escaped.data();
            }
        }
        text.remove_prefix(character.size());
    }
    return line;
}

} // namespace kxtool
