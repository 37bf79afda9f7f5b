#include "KXFW/Platform/Hardware/DeviceText.h"

#include <cstdint>

namespace
{

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

/// How long a character is that starts with this byte, and what its second byte may be: this leaves out overlong
/// forms, surrogates and what lies beyond U+10FFFF. A length of 0: no character starts so.
struct Lead {
    std::size_t length;
    uint8_t secondMin;
    uint8_t secondMax;
};

constexpr Lead leadOf(uint8_t byte) noexcept
{
    if (byte < 0x80)
        return {1, 0, 0};
    if (byte >= 0xC2 && byte <= 0xDF)
        return {2, 0x80, 0xBF};
    if (byte >= 0xE0 && byte <= 0xEF)
        return {3, uint8_t(byte == 0xE0 ? 0xA0 : 0x80), uint8_t(byte == 0xED ? 0x9F : 0xBF)};
    if (byte >= 0xF0 && byte <= 0xF4)
        return {4, uint8_t(byte == 0xF0 ? 0x90 : 0x80), uint8_t(byte == 0xF4 ? 0x8F : 0xBF)};
    return {0, 0, 0};
}

/// The bytes of the character at the front of `text`, 0 where there is none.
std::size_t characterLength(std::string_view text) noexcept
{
    const Lead lead = leadOf(static_cast<uint8_t>(text[0]));
    if (lead.length > text.size())
        return 0;
    for (std::size_t i = 1; i < lead.length; ++i) {
        const auto byte = static_cast<uint8_t>(text[i]);
        if (byte < (i == 1 ? lead.secondMin : 0x80) || byte > (i == 1 ? lead.secondMax : 0xBF))
            return 0;
    }
    return lead.length;
}

} // namespace

std::string kx::deviceText(std::string_view bytes, std::size_t maximumBytes)
{
    bytes = bytes.substr(0, bytes.find('\0'));
    std::string text;
    while (!bytes.empty()) {
        const std::size_t length = characterLength(bytes);
        const std::string_view character = length == 0 ? kReplacement : bytes.substr(0, length);
        if (text.size() + character.size() > maximumBytes)
            break;
        text += character;
        bytes.remove_prefix(length == 0 ? 1 : length);
    }
    return text;
}
