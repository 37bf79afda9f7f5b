#include "Apps/kxtool/Time.h"

#include <charconv>
#include <cmath>

namespace kxtool
{

namespace
{

constexpr double kFramesPerSecond = 44100;
constexpr double kLongestTime = 1e8;           ///< seconds: three years
constexpr int64_t kMostFrames = INT64_MAX / 8; ///< stays clear of overflow in the product of frames and bytes

/// `text` as a whole as a number: digits, and a point in them where it need not be whole.
template <class Number> std::optional<Number> numberOf(std::string_view text)
{
    Number value{};
    if (text.find_first_not_of("0123456789.") != std::string_view::npos)
        return std::nullopt;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole && text[0] >= '0' && text[0] <= '9' ? std::optional(value) : std::nullopt;
}

/// Seconds, with whole minutes and hours before them; each but the first is below 60.
std::optional<double> secondsOf(std::string_view text)
{
    double seconds = 0;
    for (int colons = 0;; ++colons) {
        const std::size_t colon = text.find(':');
        const bool isLast = colon == std::string_view::npos;
        const std::string_view digits = text.substr(0, colon);
        const auto part = numberOf<double>(digits);
        if (!part || (!isLast && digits.find('.') != std::string_view::npos) || colons > 2 ||
            (colons > 0 && *part >= 60))
            return std::nullopt;
        seconds = seconds * 60 + *part;
        if (isLast)
            return seconds;
        text.remove_prefix(colon + 1);
    }
}

} // namespace

std::optional<int64_t> framesOf(std::string_view text)
{
    if (const auto frames = numberOf<int64_t>(text))
        return *frames <= kMostFrames ? frames : std::nullopt;
    if (text.ends_with('s'))
        text.remove_suffix(1);
    const auto seconds = secondsOf(text);
    if (!seconds || !(*seconds <= kLongestTime))
        return std::nullopt;
    return std::llround(*seconds * kFramesPerSecond);
}

} // namespace kxtool
