/// @file
/// Times as people read and type them, for frames of 44,100 a second.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kxplayer
{

/// "1:02.345", "1:02:03.400" from an hour on, with a minus before the start; to the nearest millisecond.
std::string timeText(int64_t frames);

/// "1 minute 2.3 seconds", to the nearest tenth.
std::string spokenTime(int64_t frames);

/// The nearest frame of a time such as "62", "1:02.5", "1:02:03.4" or "-0,5"; nothing where the text is none. Minutes
/// and seconds behind a colon are below 60; times are below 2^40 frames, most of a year. What timeText gives comes
/// back as the same text.
std::optional<int64_t> framesOfText(std::string_view text);

} // namespace kxplayer
