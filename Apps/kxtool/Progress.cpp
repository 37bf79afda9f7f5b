#include "Apps/kxtool/Progress.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <unistd.h>

namespace kxtool
{

ProgressLine::ProgressLine() : onTerminal_(isatty(STDERR_FILENO) == 1) {}

ProgressLine::~ProgressLine()
{
    if (shown_)
        std::fputc('\n', stderr);
}

void ProgressLine::show(const std::string &text)
{
    if (!onTerminal_)
        return;
    std::fprintf(stderr, "\r%s\x1b[K", text.c_str());
    std::fflush(stderr);
    shown_ = true;
}

std::string clockTime(int64_t frames)
{
    const int64_t tenths = frames / 4410;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%lld:%02lld.%lld", static_cast<long long>(tenths / 600),
                  static_cast<long long>(tenths / 10 % 60), static_cast<long long>(tenths % 10));
    return text.data();
}

std::string percentBar(double percent)
{
    constexpr std::size_t width = 40;
    const double bounded = std::clamp(percent, 0.0, 100.0);
    const auto full = static_cast<std::size_t>(bounded / 100 * width);
    std::array<char, 16> number{};
    std::snprintf(number.data(), number.size(), " %3.0f %%", bounded);
    return '[' + std::string(full, '#') + std::string(width - full, ' ') + ']' + number.data();
}

} // namespace kxtool
