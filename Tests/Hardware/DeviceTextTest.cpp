#include "KXFW/Platform/Hardware/DeviceText.h"

#include <gtest/gtest.h>

namespace
{

using kx::deviceText;
using namespace std::string_literals;

TEST(DeviceText, KeepsCharactersAndReplacesWhatIsNone)
{
    const std::string bad = "\xEF\xBF\xBD";
    const std::pair<std::string, std::string> cases[] = {
        {"Büro %s %n\n", "Büro %s %n\n"},
        {"日本語 🎧", "日本語 🎧"},
        {"a\0b"s, "a"},
        {"\xC0\xAF", bad + bad},                     // an overlong slash
        {"\xE0\x80\x80", bad + bad + bad},           // an overlong zero
        {"\xED\xA0\x80", bad + bad + bad},           // a surrogate
        {"\xF4\x90\x80\x80", bad + bad + bad + bad}, // beyond the last character
        {"\xF8\x88\x80\x80\x80", bad + bad + bad + bad + bad},
        {"cut \xE2\x82", "cut " + bad + bad},
        {"\x80z\xFF", bad + "z" + bad},
        {"\xC3(", bad + "("},
    };
    for (const auto &[bytes, expected] : cases)
        EXPECT_EQ(deviceText(bytes), expected);
}

TEST(DeviceText, CutsBetweenCharacters)
{
    EXPECT_EQ(deviceText(std::string(300, 'x')), std::string(255, 'x'));
    std::string euros;
    for (int i = 0; i < 100; ++i)
        euros += "€";
    EXPECT_EQ(deviceText(euros).size(), 255u);
    EXPECT_EQ(deviceText("x" + euros).size(), 253u);
    EXPECT_EQ(deviceText("aé", 2), "a");
    EXPECT_EQ(deviceText("\xFF\xFF", 5), "\xEF\xBF\xBD");
}

} // namespace
