#pragma once

#include <cstdint>
#include <string>

namespace kxtool
{

/// A line on the standard error that is written over and over, where that is a terminal; else nothing is shown.
class ProgressLine
{
public:
    ProgressLine();
    ~ProgressLine(); ///< Leaves the line as it is and starts a new one.
    ProgressLine(const ProgressLine &) = delete;
    ProgressLine &operator=(const ProgressLine &) = delete;

    void show(const std::string &text);

private:
    bool onTerminal_;
    bool shown_ = false;
};

/// "1:02.3" for a number of frames of 44,100 a second.
std::string clockTime(int64_t frames);

/// A bar of 40 characters and the number.
std::string percentBar(double percent);

} // namespace kxtool
