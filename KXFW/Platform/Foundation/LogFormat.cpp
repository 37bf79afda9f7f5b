#include "KXFW/Platform/Foundation/NSLog.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

namespace
{

using kx::LogArgument;

struct Directive {
    bool left = false;
    bool zeros = false;
    char plus = 0; ///< '+' or ' ' before a number that is not negative
    std::size_t width = 0;
    std::optional<int> precision;
    bool isLong = false;
    char conversion = 0;
    std::size_t length = 0; ///< characters of the format, '%' included
};

/// A number of up to three digits at the start of `text`, which it takes away; none if there are more.
std::optional<int> takeNumber(std::string_view &text)
{
    int number = 0;
    std::size_t digits = 0;
    for (; digits < text.size() && text[digits] >= '0' && text[digits] <= '9'; ++digits) {
        if (digits == 3)
            return std::nullopt;
        number = number * 10 + (text[digits] - '0');
    }
    text.remove_prefix(digits);
    return number;
}

void takeFlags(std::string_view &text, Directive &directive)
{
    for (; !text.empty(); text.remove_prefix(1)) {
        if (text[0] == '-')
            directive.left = true;
        else if (text[0] == '0')
            directive.zeros = true;
        else if (text[0] == '+')
            directive.plus = '+';
        else if (text[0] == ' ')
            directive.plus = directive.plus ? directive.plus : ' ';
        else if (text[0] != '#')
            return;
    }
}

void takeLength(std::string_view &text, Directive &directive)
{
    for (int i = 0; i < 2 && !text.empty() && std::string_view("hljzqtL").find(text[0]) != std::string_view::npos;
         ++i) {
        directive.isLong = directive.isLong || text[0] != 'h';
        text.remove_prefix(1);
    }
}

/// Reads the directive at the start of `format` (a '%'), or nothing if it is none of ours.
std::optional<Directive> parsed(std::string_view format)
{
    Directive directive;
    std::string_view rest = format.substr(1);
    takeFlags(rest, directive);
    const std::optional<int> width = takeNumber(rest);
    if (!width)
        return std::nullopt;
    directive.width = static_cast<std::size_t>(*width);
    if (!rest.empty() && rest[0] == '.') {
        rest.remove_prefix(1);
        if (!(directive.precision = takeNumber(rest)))
            return std::nullopt;
    }
    takeLength(rest, directive);
    if (rest.empty() || std::string_view("@scdiuxXfFgGeE").find(rest[0]) == std::string_view::npos)
        return std::nullopt;
    directive.conversion = rest[0];
    directive.length = format.size() - rest.size() + 1;
    return directive;
}

bool isOneOf(char conversion, std::string_view set)
{
    return set.find(conversion) != std::string_view::npos;
}

void pad(std::string &out, const Directive &directive, std::string_view sign, std::string_view body, bool zeros)
{
    const std::size_t fill = directive.width - std::min(directive.width, sign.size() + body.size());
    if (!directive.left && !zeros)
        out.append(fill, ' ');
    out.append(sign);
    if (!directive.left && zeros)
        out.append(fill, '0');
    out.append(body);
    if (directive.left)
        out.append(fill, ' ');
}

/// Cuts `text` after the precision's bytes, never inside a UTF-8 character.
void appendText(std::string &out, const Directive &directive, std::string_view text)
{
    if (directive.precision && text.size() > static_cast<std::size_t>(*directive.precision)) {
        auto end = static_cast<std::size_t>(*directive.precision);
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80)
            --end;
        text = text.substr(0, end);
    }
    pad(out, directive, "", text, false);
}

void appendNumber(std::string &out, const Directive &directive, bool negative, std::string_view digits, bool zeros)
{
    std::string sign(negative ? "-" : "");
    if (!negative && directive.plus && !isOneOf(directive.conversion, "uxX"))
        sign = directive.plus;
    pad(out, directive, sign, digits, zeros && directive.zeros);
}

void appendInteger(std::string &out, const Directive &directive, bool negative, uint64_t magnitude, int base)
{
    std::array<char, 64> buffer{};
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), magnitude, base).ptr;
    std::string digits(buffer.data(), end);
    if (directive.conversion == 'X')
        std::ranges::transform(digits, digits.begin(), [](char c) { return c >= 'a' ? static_cast<char>(c - 32) : c; });
    const auto wanted = static_cast<std::size_t>(directive.precision.value_or(1));
    if (digits.size() < wanted)
        digits.insert(0, wanted - digits.size(), '0');
    appendNumber(out, directive, negative, digits, !directive.precision);
}

void appendReal(std::string &out, const Directive &directive, double value)
{
    std::array<char, 1536> buffer{}; // 309 digits, the point and a precision of 999
    char *const first = buffer.data();
    char *const last = first + buffer.size();
    const int precision = directive.precision.value_or(6);
    const char lower = static_cast<char>(directive.conversion | 0x20);
    std::to_chars_result result{};
    if (lower == 'f')
        result = std::to_chars(first, last, value, std::chars_format::fixed, precision);
    else if (lower == 'g')
        result = std::to_chars(first, last, value, std::chars_format::general, precision);
    else if (lower == 'e')
        result = std::to_chars(first, last, value, std::chars_format::scientific, precision);
    else
        result = std::to_chars(first, last, value);
    std::string_view digits(first, static_cast<std::size_t>(result.ptr - first));
    const bool negative = digits.starts_with('-');
    digits.remove_prefix(negative ? 1 : 0);
    const bool finite = digits[0] >= '0' && digits[0] <= '9';
    appendNumber(out, directive, negative, digits, finite);
}

void append(std::string &out, const Directive &directive, std::string_view text)
{
    appendText(out, directive, text);
}

void append(std::string &out, const Directive &directive, double value)
{
    appendReal(out, directive, value);
}

void append(std::string &out, const Directive &directive, uint64_t value)
{
    if (directive.conversion == 'c' && value <= 0xff)
        return pad(out, directive, "", std::string(1, static_cast<char>(value)), false);
    if (isOneOf(directive.conversion, "fFgGeE"))
        return appendReal(out, directive, static_cast<double>(value));
    appendInteger(out, directive, false, value, isOneOf(directive.conversion, "xX") ? 16 : 10);
}

void append(std::string &out, const Directive &directive, int64_t value)
{
    if (value >= 0)
        return append(out, directive, static_cast<uint64_t>(value));
    if (directive.conversion == 'c' && value >= -0x80) // a plain char of 0x80 and above
        return append(out, directive, static_cast<uint64_t>(static_cast<unsigned char>(value)));
    if (isOneOf(directive.conversion, "fFgGeE"))
        return appendReal(out, directive, static_cast<double>(value));
    if (!isOneOf(directive.conversion, "xX"))
        return appendInteger(out, directive, true, 0 - static_cast<uint64_t>(value), 10);
    // Hexadecimal shows the bits of a negative number: 32 of them, unless it or the directive is longer.
    const bool isShort = !directive.isLong && value >= INT32_MIN;
    appendInteger(out, directive, false, static_cast<uint64_t>(value) & (isShort ? 0xffffffffu : ~0ull), 16);
}

} // namespace

std::string kx::formatted(std::string_view format, std::span<const LogArgument> arguments)
{
    std::string out;
    while (!format.empty()) {
        const std::size_t text = std::min(format.find('%'), format.size());
        out.append(format.substr(0, text));
        format.remove_prefix(text);
        if (format.empty())
            break;
        if (format.starts_with("%%")) {
            out += '%';
            format.remove_prefix(2);
            continue;
        }
        const std::optional<Directive> directive = parsed(format);
        const std::size_t length = directive ? directive->length : 1;
        if (directive && !arguments.empty()) {
            std::visit([&](auto value) { append(out, *directive, value); }, arguments.front());
            arguments = arguments.subspan(1);
        } else {
            out.append(format.substr(0, length));
        }
        format.remove_prefix(length);
    }
    return out;
}
