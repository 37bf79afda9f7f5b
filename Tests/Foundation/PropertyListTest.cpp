#include "KXFW/Platform/Foundation/PropertyList.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>
#include <sys/stat.h>

using namespace kx::test;

namespace
{

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

struct ValueCase {
    std::string element;
    double real;
    uint32_t integer;
};

TEST(PropertyList, NumbersLoadInEveryWayTheyAreWritten)
{
    const std::vector<ValueCase> cases{
        {"<integer>1819304813</integer>", 1819304813, 1819304813},
        {"<integer> \n\t+42 </integer>", 42, 42},
        {"<integer>4<!-- a comment -->2</integer>", 42, 42},
        {"<integer><![CDATA[42]]></integer>", 42, 42},
        {"<integer>&#52;2</integer>", 42, 42},
        {"<integer>0042</integer>", 42, 42},
        {"<integer>4294967295</integer>", 4294967295.0, 4294967295},
        {"<integer>4294967296</integer>", 4294967296.0, 0},
        {"<integer>-1</integer>", -1, 0},
        {"<integer>9223372036854775807</integer>", 9223372036854775807.0, 0},
        {"<real>2.9999</real>", 2.9999, 2},
        {"<real>-0.75</real>", -0.75, 0},
        {"<real>-1</real>", -1, 0},
        {"<real>4294967295.9</real>", 4294967295.9, 4294967295},
        {"<real>4294967296</real>", 4294967296.0, 0},
        {"<real>4.41e4</real>", 44100, 44100},
        {"<real>+1e300</real>", 1e300, 0},
        {"<real>48000</real>", 48000, 48000},
    };
    for (const ValueCase &c : cases) {
        const auto entries = load(list("<key>k</key>" + c.element));
        ASSERT_TRUE(entries && entries->contains("k")) << c.element;
        EXPECT_EQ(entries->at("k").doubleValue(), c.real) << c.element;
        EXPECT_EQ(entries->at("k").unsignedIntValue(), c.integer) << c.element;
    }
}

TEST(PropertyList, ValuesThatAreNoNumberAreLeftOut)
{
    const std::string bomb = "<!DOCTYPE plist [<!ENTITY a \"9\"><!ENTITY b \"&a;&a;&a;&a;\"><!ENTITY c \"&b;&b;&b;\">"
                             "<!ENTITY f SYSTEM \"file:///etc/hostname\">]>";
    std::istringstream elements("<string>42</string>|<true/>|<date>2026-01-01T00:00:00Z</date>|<data>NDI=</data>|"
                                "<integer/>|<integer></integer>|<integer>4 2</integer>|<integer>42x</integer>|"
                                "<integer>1.5</integer>|<integer>9223372036854775808</integer>|"
                                "<integer>+-1</integer>|<integer>++1</integer>|<integer><b>42</b></integer>|"
                                "<real>nan</real>|<real>-inf</real>|<real>1e999</real>|<real>1,5</real>|"
                                "<real>0x1p3</real>|<integer>&c;</integer>|<integer>&f;</integer>|"
                                "<array><integer>1</integer></array>|<dict><key>k</key><integer>1</integer></dict>");
    for (std::string element; std::getline(elements, element, '|');) {
        const auto entries = load(
            bomb + list(std::string("<key>k</key>").append(element).append("<key>last</key><integer>7</integer>")));
        ASSERT_TRUE(entries) << element;
        EXPECT_FALSE(entries->contains("k")) << element;
        EXPECT_EQ(entries->at("last").unsignedIntValue(), 7u) << element;
    }
}

TEST(PropertyList, FilesThatAreNoDictionaryGiveNone)
{
    const std::string entry = "<key>k</key><integer>1</integer>";
    for (const std::string &text :
         {std::string(), std::string("bplist00\xd1\x01\x02"), std::string("{ k = 1; }"), std::string("\0\0\0\0", 4),
          std::string("<plist version=\"1.0\"/>"), "<plist><array><dict>" + entry + "</dict></array></plist>",
          "<list><dict>" + entry + "</dict></list>", "<plist><dict>" + entry + "</dict><dict/></plist>",
          list("<key>k</key>"), list("<integer>1</integer>"), list(entry + "<integer>1</integer>"),
          list("<key>k</key><key>l</key><integer>1</integer>"), list(entry) + "<plist", list(entry) + list(entry),
          list(entry + "</array>")})
        EXPECT_FALSE(load(text)) << text;
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
                                    list("\n\t<!-- c --><key>b</key> \n <?pi?> <integer>9</integer>" + entries)}) {
        const auto loaded = load(text);
        ASSERT_TRUE(loaded) << text;
        EXPECT_EQ(loaded->size(), 2u) << text;
        EXPECT_EQ(loaded->at("a").unsignedIntValue(), 1u) << text;
        EXPECT_EQ(loaded->at("b").unsignedIntValue(), 3u) << text;
    }
}

TEST(PropertyList, OnlyRegularFilesOfAtMost64KiBAreRead)
{
    const std::string entries = "<key>k</key><integer>1</integer>";
    const auto padding = kx::kMaximumPropertyListBytes - list(entries).size();
    EXPECT_TRUE(load(list(entries + std::string(padding, ' '))));
    EXPECT_FALSE(load(list(entries + std::string(padding + 1, ' '))));

    const auto pipe = temporaryPath("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::filesystem::path &path :
         {pipe, temporaryFolder(), std::filesystem::path("/dev/zero"), temporaryPath("missing")})
        EXPECT_FALSE(kx::readPropertyList(path)) << path;
    EXPECT_TRUE(kx::writePropertyList({}, pipe)) << "no one reads the pipe, and the write does not wait";
    EXPECT_TRUE(kx::writePropertyList({}, "/dev/full"));
}

TEST(PropertyList, DeepAndCutFilesDoNoHarm)
{
    const std::string deep = repeated("<array>", 4000) + repeated("</array>", 4000);
    const auto around = load(list("<key>deep</key>" + deep + "<key>k</key><integer>1</integer>"));
    ASSERT_TRUE(around);
    EXPECT_EQ(around->size(), 1u);
    EXPECT_FALSE(load(repeated("<dict>", 10000)));
    EXPECT_FALSE(load("<!DOCTYPE plist " + repeated("[<!", 20000)));

    const std::string whole = kx::propertyListText({{"a", kx::Number(1.5)}, {"b", kx::Number(7u)}});
    for (std::size_t length = 0; length < whole.size() - 2; ++length)
        EXPECT_FALSE(load(whole.substr(0, length))) << length;
    std::mt19937 random(5);
    for (int i = 0; i < 2000; ++i) {
        std::string text = whole;
        for (int changes = 0; changes < 3; ++changes)
            text[random() % text.size()] = static_cast<char>(random());
        const auto entries = load(text);
        EXPECT_LE(entries ? entries->size() : 0, 2u) << text;
    }
}

TEST(PropertyList, EveryKeyAndNumberComesBackAsItWas)
{
    kx::Dictionary numbers{{"<&>\"'\xc3\xa4", kx::Number(7u)},
                           {"real", kx::Number(std::numeric_limits<double>::max())},
                           {"smallest", kx::Number(std::numeric_limits<double>::denorm_min())},
                           {"integer", kx::Number(std::numeric_limits<int64_t>::min())}};
    std::mt19937_64 random(6);
    for (int i = 0; i < 300; ++i)
        if (const auto real = std::bit_cast<double>(random()); std::isfinite(real))
            numbers.emplace(std::to_string(i), kx::Number(real));
    const auto path = temporaryPath("all.plist");
    ASSERT_FALSE(kx::writePropertyList(numbers, path));
    EXPECT_EQ(kx::readPropertyList(path), numbers);
}

} // namespace
