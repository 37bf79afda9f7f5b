#include "KXFW/UI/SpokenTime.h"

#include "KXFW/Platform/Foundation/StringTable.h"

#include <algorithm>

namespace
{

constexpr int64_t kFramesPerTenth = 4410;
constexpr int64_t kTenthsPerSecond = 10;
constexpr int64_t kTenthsPerMinute = 60 * kTenthsPerSecond;
constexpr int64_t kTenthsPerHour = 60 * kTenthsPerMinute;

std::string part(const std::string &number, const char *word)
{
    const std::string key = number == "1" ? word : std::string(word) + "s";
    return number + " " + kx::StringTable::framework().localizedStringForKey(key);
}

std::string secondsOf(int64_t tenths)
{
    const std::string seconds = std::to_string(tenths / kTenthsPerSecond);
    const int64_t rest = tenths % kTenthsPerSecond;
    return rest ? seconds + "." + std::to_string(rest) : seconds;
}

} // namespace

std::string kx::spokenTime(int64_t frame)
{
    const int64_t place = std::max<int64_t>(frame, 0);
    const int64_t tenths = place / kFramesPerTenth + (2 * (place % kFramesPerTenth) >= kFramesPerTenth);
    const int64_t hours = tenths / kTenthsPerHour;
    const int64_t minutes = tenths % kTenthsPerHour / kTenthsPerMinute;
    const int64_t restTenths = tenths % kTenthsPerMinute;

    std::string spoken;
    if (hours)
        spoken += part(std::to_string(hours), "hour") + " ";
    if (minutes)
        spoken += part(std::to_string(minutes), "minute") + " ";
    if (restTenths || spoken.empty())
        return spoken + part(secondsOf(restTenths), "second");
    spoken.pop_back();
    return spoken;
}
