#include "KXFW/Platform/Foundation/PropertyList.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <sys/stat.h>

using namespace kx::test;
using kx::Number;

namespace
{

const std::string kEntry = "<key>k</key><integer>1</integer>";

std::optional<kx::Dictionary> load(const std::string &text)
{
    return kx::readPropertyList(fileOf("list.plist", {text.begin(), text.end()}));
}

std::string list(const std::string &entries)
{
    return "<plist version=\"1.0\"><dict>" + entries + "</dict></plist>";
}

std::string repeated(const std::string &text, int times)
{
    std::string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

TEST(PropertyList, NumbersLoadInEveryWayTheyAreWritten)
{
    for (const std::string element : {"<integer> \n\t+42 </integer>", "<integer>4<!-- a comment -->2</integer>",
                                      "<integer><![CDATA[42]]></integer>", "<integer>&#52;2</integer>",
                                      "<integer>0042</integer>", "<real>42</real>", "<real>4.2e1</real>"})
        EXPECT_EQ(load(list("<key>k</key>" + element)).value_or(kx::Dictionary()).at("k").doubleValue(), 42) << element;
    for (const double none : {-0.75, -1.0, 1e300, 4294967296.0})
        EXPECT_EQ(Number(none).unsignedIntValue(), 0U) << none;
    EXPECT_EQ(Number(2.9999).unsignedIntValue(), 2U);
    EXPECT_EQ(Number(4294967295.9).unsignedIntValue(), UINT32_MAX);
    EXPECT_EQ(Number(int64_t{-1}).unsignedIntValue() + Number(int64_t{1} << 32).unsignedIntValue(), 0U);
}

TEST(PropertyList, ValuesThatAreNoNumberAreLeftOut)
{
    const std::string bomb = "<!DOCTYPE plist [<!ENTITY a \"9\"><!ENTITY b \"&a;&a;&a;&a;\"><!ENTITY c \"&b;&b;&b;\">"
                             "<!ENTITY f SYSTEM \"file:///etc/hostname\">]>";
    std::string entries = "<key>deep</key>" + repeated("<array>", 4000) + repeated("</array>", 4000);
    for (const std::string element : {"<string>42</string>",
                                      "<true/>",
                                      "<date>2026-01-01T00:00:00Z</date>",
                                      "<data>NDI=</data>",
                                      "<integer/>",
                                      "<integer></integer>",
                                      "<integer>4 2</integer>",
                                      "<integer>42x</integer>",
                                      "<integer>1.5</integer>",
                                      "<integer>9223372036854775808</integer>",
                                      "<integer>+-1</integer>",
                                      "<integer>++1</integer>",
                                      "<integer>4<b/>2</integer>",
                                      "<real>nan</real>",
                                      "<real>-inf</real>",
                                      "<real>1e999</real>",
                                      "<real>1,5</real>",
                                      "<real>0x1p3</real>",
                                      "<integer>&c;</integer>",
                                      "<integer>&f;</integer>",
                                      "<array><integer>1</integer></array>",
                                      "<dict><key>k</key><integer>1</integer></dict>"})
        entries += "<key>" + std::to_string(entries.size()) + "</key>" + element;
    EXPECT_EQ(load(bomb + list(entries + kEntry)), (kx::Dictionary{{"k", Number(1U)}}));
}

TEST(PropertyList, FilesThatAreNoDictionaryGiveNone)
{
    const auto padding = kx::kMaximumPropertyListBytes - list(kEntry).size();
    EXPECT_TRUE(load(list(kEntry + std::string(padding, ' '))));
    for (const std::string &text :
         {std::string(), std::string("bplist00\xd1\x01\x02"), std::string("{ k = 1; }"), std::string("\0\0\0\0", 4),
          std::string("<plist version=\"1.0\"/>"), "<plist><array><dict>" + kEntry + "</dict></array></plist>",
          "<list><dict>" + kEntry + "</dict></list>", "<plist><dict>" + kEntry + "</dict><dict/></plist>",
          list("<key>k</key>"), list("<string>k</string><integer>1</integer>"), list(kEntry + "<integer>1</integer>"),
          list("<key>k</key><key>l</key><integer>1</integer>"), list(kEntry) + "<plist", list(kEntry) + list(kEntry),
          list(kEntry + "</array>"), repeated("<dict>", 10000), "<!DOCTYPE plist " + repeated("[<!", 20000),
          list(kEntry + std::string(padding + 1, ' '))})
        EXPECT_FALSE(load(text)) << text.substr(0, 100);

    const auto pipe = temporaryPath("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::filesystem::path &path :
         {pipe, temporaryFolder(), std::filesystem::path("/dev/zero"), temporaryPath("missing")})
        EXPECT_FALSE(kx::readPropertyList(path)) << path;
    EXPECT_TRUE(kx::writePropertyList({}, pipe)) << "no one reads the pipe, and the write does not wait";
    EXPECT_TRUE(kx::writePropertyList({}, "/dev/full"));
}

TEST(PropertyList, FilesOfOtherWritersLoad)
{
    const std::string entries = "<key>b</key><integer>2</integer><key>a</key><real>1</real><key>b</key><real>3</real>";
    const std::string plain = list(entries);
    std::string wide("\xff\xfe"); // UTF-16, little-endian
    for (const char c : plain)
        wide.append({c, '\0'});
    for (const std::string &text : {plain, "\xef\xbb\xbf" + plain, wide, "<dict>" + entries + "</dict>",
                                    "<?xml version='1.0'?>\r\n<!DOCTYPE plist PUBLIC \"-//X//DTD\" "
                                    "\"http://example.org/list.dtd\">\r\n<!-- c -->" +
                                        plain + "\r\n<!-- end -->\r\n",
                                    list("\n\t<!-- c --><key>b</key> \n <?pi?> <integer>9</integer>" + entries)})
        EXPECT_EQ(load(text), (kx::Dictionary{{"a", Number(1.0)}, {"b", Number(3.0)}})) << text;
}

TEST(PropertyList, EveryKeyAndNumberComesBackAsItWasAndNothingOfACutFile)
{
    kx::Dictionary numbers{{"<&>\"'\xc3\xa4", Number(7u)},
                           {"real", Number(std::numeric_limits<double>::max())},
                           {"smallest", Number(std::numeric_limits<double>::denorm_min())},
                           {"integer", Number(std::numeric_limits<int64_t>::min())}};
    const std::string whole = kx::propertyListText(numbers);
    for (std::size_t length = 0; length < whole.size() - 2; ++length)
        EXPECT_FALSE(load(whole.substr(0, length))) << length;
    std::mt19937_64 random(6);
    for (int i = 0; i < 300; ++i)
        if (const auto real = std::bit_cast<double>(random()); std::isfinite(real))
            numbers.emplace(std::to_string(i), Number(real));
    const auto path = temporaryPath("all.plist");
    ASSERT_FALSE(kx::writePropertyList(numbers, path));
    EXPECT_EQ(kx::readPropertyList(path), numbers);
}

} // namespace
