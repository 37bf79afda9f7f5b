#include "Apps/kxplayer/TimeText.h"

#include <gtest/gtest.h>

using kxplayer::framesOfText;
using kxplayer::spokenTime;
using kxplayer::timeText;

namespace
{

TEST(TimeText, ReadsAsMinutesSecondsAndMilliseconds)
{
    const std::pair<int64_t, const char *> table[] = {
        {22, "0:00.000"},
        {23, "0:00.001"},
        {-22, "0:00.000"},
        {-23, "-0:00.001"},
        {44099, "0:01.000"}, // not 0:00.1000
        {62345 * 441 / 10, "1:02.345"},
        {3600 * 44100 - 1, "1:00:00.000"},
        {36000LL * 44100 + 61 * 44100, "10:01:01.000"},
        {INT64_MIN, "-58096321723:42:03.714"},
        {INT64_MAX, "58096321723:42:03.714"},
    };
    for (const auto &[frames, text] : table)
        EXPECT_EQ(timeText(frames), text) << frames;
}

TEST(TimeText, SpeaksTimes)
{
    const std::pair<int64_t, const char *> times[] = {{-1, "0 seconds"},
                                                      {97 * 44100 + 13230, "1 minute 37.3 seconds"},
                                                      {3601 * 44100, "1 hour 1 second"},
                                                      {3600 * 44100 - 1, "1 hour"}};
    for (const auto &[frames, spoken] : times)
        EXPECT_EQ(spokenTime(frames), spoken);
}

TEST(TimeText, TakesWhatPeopleType)
{
    const std::pair<const char *, int64_t> times[] = {
        {"1:02.5", 62 * 44100 + 22050},
        {"1:02:03.4", 3723 * 44100 + 17640},
        {" 0,5\t", 22050},
        {"5.", 5 * 44100},
        {"90:00", 5400 * 44100},
        {"-0:01", -44100},
        {"0.0000226757369614512471655328798", 1},
        {"000000000000000000000000000001", 44100},
    };
    for (const auto &[text, frames] : times)
        EXPECT_EQ(framesOfText(text), frames) << text;
    for (const char *text :
         {"",         " ",       "-",    ":",   "1:",  ":1",  "1:60", "1:60:00", "1:2:3:4", "1.5:00",
          "1.2.3",    "1e3",     "0x10", "nan", "inf", "--1", "+1",   "1 2",     "1:-2",    "18446744073709551617",
          "24932562", "1:02.5x", "٣",    "."})
        EXPECT_FALSE(framesOfText(text)) << '"' << text << '"';
}

} // namespace
