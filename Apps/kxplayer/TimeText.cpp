#include "Apps/kxplayer/TimeText.h"

#include <algorithm>
#include <cstdio>

namespace kxplayer
{

namespace
{

constexpr int64_t kMostFrames = int64_t{1} << 40;
constexpr uint64_t kMostSeconds = static_cast<uint64_t>(kMostFrames / 44100);
constexpr std::size_t kFractionDigits = 9; ///< nanoseconds; more digits are below any frame
constexpr int64_t kFramesOfTenth = 4410;   ///< of a second
constexpr uint64_t kNanoseconds = 1'000'000'000;

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

/// Takes the digits at the start of `text`; nothing where there are none or the number is beyond all times.
std::optional<uint64_t> takeNumber(std::string_view &text)
{
    if (text.empty() || !isDigit(text.front()))
        return {};
    uint64_t number = 0;
    while (!text.empty() && isDigit(text.front())) {
        number = number * 10 + static_cast<uint64_t>(text.front() - '0');
        if (number > kMostSeconds)
            return {};
        text.remove_prefix(1);
    }
    return number;
}

/// The nanoseconds of what stands behind the decimal point.
std::optional<uint64_t> fractionOf(std::string_view digits)
{
    uint64_t nanoseconds = 0;
    if (!std::ranges::all_of(digits, isDigit))
        return {};
    for (std::size_t i = 0; i < kFractionDigits; ++i)
        nanoseconds = nanoseconds * 10 + (i < digits.size() ? static_cast<uint64_t>(digits[i] - '0') : 0);
    return nanoseconds;
}

/// Takes hours, minutes and seconds, as many as there are.
std::optional<uint64_t> takeSeconds(std::string_view &text)
{
    if (text.size() > 1 && (text[0] == '.' || text[0] == ','))
        return 0;
    auto seconds = takeNumber(text);
    for (int colons = 0; seconds && text.starts_with(':'); ++colons) {
        text.remove_prefix(1);
        const auto part = takeNumber(text);
        if (colons == 2 || !part || *part >= 60)
            return {};
        seconds = *seconds * 60 + *part;
    }
    return seconds;
}

std::string_view trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t\r\n");
    const auto last = text.find_last_not_of(" \t\r\n");
    return first == std::string_view::npos ? std::string_view() : text.substr(first, last - first + 1);
}

} // namespace

std::string timeText(int64_t frames)
{
    const uint64_t size = frames < 0 ? 0 - static_cast<uint64_t>(frames) : static_cast<uint64_t>(frames);
    const uint64_t milliseconds = size / 441 * 10 + (size % 441 * 10 + 220) / 441;
    const uint64_t seconds = milliseconds / 1000;
    const uint64_t hours = seconds / 3600;
    const char *sign = frames < 0 && milliseconds > 0 ? "-" : "";
    const auto ull = [](uint64_t number) { return static_cast<unsigned long long>(number); };
    char text[64];
    if (hours > 0)
        std::snprintf(text, sizeof text, "%s%llu:%02llu:%02llu.%03llu", sign, ull(hours), ull(seconds / 60 % 60),
                      ull(seconds % 60), ull(milliseconds % 1000));
    else
        std::snprintf(text, sizeof text, "%s%llu:%02llu.%03llu", sign, ull(seconds / 60), ull(seconds % 60),
                      ull(milliseconds % 1000));
    return text;
}

std::string spokenTime(int64_t frames)
{
    const int64_t tenths = (std::max<int64_t>(frames, 0) + kFramesOfTenth / 2) / kFramesOfTenth;
    std::string spoken;
    const auto add = [&](const std::string &number, const char *word) {
        spoken += (spoken.empty() ? "" : " ") + number + " " + word + (number == "1" ? "" : "s");
    };
    if (tenths >= 36000)
        add(std::to_string(tenths / 36000), "hour");
    if (tenths / 600 % 60 > 0)
        add(std::to_string(tenths / 600 % 60), "minute");
    if (tenths % 600 > 0 || spoken.empty()) {
        const std::string seconds = std::to_string(tenths % 600 / 10);
        add(tenths % 10 ? seconds + "." + std::to_string(tenths % 10) : seconds, "second");
    }
    return spoken;
}

std::optional<int64_t> framesOfText(std::string_view text)
{
    text = trimmed(text);
    const bool isNegative = text.starts_with('-');
    text.remove_prefix(isNegative ? 1 : 0);
    const auto seconds = takeSeconds(text);
    const bool hasFraction = text.starts_with('.') || text.starts_with(',');
    if (!seconds || *seconds > kMostSeconds || (!text.empty() && !hasFraction))
        return {};
    const auto fraction = fractionOf(hasFraction ? text.substr(1) : text);
    if (!fraction)
        return {};
    const auto frames = static_cast<int64_t>(*seconds * 44100 + (*fraction * 44100 + kNanoseconds / 2) / kNanoseconds);
    if (frames > kMostFrames)
        return {};
    return isNegative ? -frames : frames;
}

} // namespace kxplayer
