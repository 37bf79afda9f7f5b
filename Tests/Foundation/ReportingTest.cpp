#include "KXFW/Platform/Foundation/BinarySymbols.h"
#include "KXFW/Platform/Foundation/NSAlert.h"
#include "KXFW/Platform/Foundation/NSObject.h"
#include "KXFW/Platform/Foundation/NSThread.h"
#include "KXFW/Platform/Foundation/StringTable.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <sstream>

using kx::StringTable;

namespace
{

TEST(StringTable, TheFirstPreferredLanguageWithTheTextGivesIt)
{
    StringTable table;
    table.setTexts("de", {{"Play", "Abspielen"}, {"Stop", "Stopp"}});
    table.setTexts("de-AT", {{"Play", "Spielen"}});
    table.setTexts("fr", {{"Play", "Lire"}, {"Empty", ""}});
    table.setTexts("fr", {{"Play", "Avance"}}, "Other");
    const std::map<std::vector<std::string>, std::string> expected{
        {{"de_DE.UTF-8"}, "Abspielen"},
        {{"de_AT@euro"}, "Spielen"},
        {{"de-AT"}, "Spielen"},
        {{"it", "fr_CA", "de"}, "Lire"},
        {{"en"}, "Play"},
        {{}, "Play"},
        {{"d", "deu", ""}, "Play"},
    };
    for (const auto &[preferred, text] : expected) {
        StringTable::setPreferredLanguages(preferred);
        EXPECT_EQ(table.localizedStringForKey("Play"), text) << testing::PrintToString(preferred);
    }
    StringTable::setPreferredLanguages({"de_AT", "fr"});
    EXPECT_EQ(table.localizedStringForKey("Stop"), "Stopp") << "the language helps out its country";
    EXPECT_EQ(table.localizedStringForKey("Empty", "value"), "");
    EXPECT_EQ(table.localizedStringForKey("Play", "", "Other"), "Avance");
    EXPECT_EQ(table.localizedStringForKey("none", "value"), "value");
    EXPECT_EQ(table.localizedStringForKey("none", "value", "Nowhere"), "value");
}

TEST(StringTable, TheEnvironmentNamesTheLanguages)
{
    struct Case {
        const char *language, *all, *messages, *lang;
        std::vector<std::string> expected;
    };
    const std::vector<Case> cases{
        {"", "", "", "", {}},
        {"de", "", "", "", {}},
        {"de", "C.UTF-8", "fr", "fr", {}},
        {"", "", "fr_FR.UTF-8", "de", {"fr_FR"}},
        {"sv:de::", "", "", "fr_FR.UTF-8", {"sv", "de", "fr_FR"}},
    };
    for (const Case &c : cases) {
        setenv("LANGUAGE", c.language, 1);
        setenv("LC_ALL", c.all, 1);
        setenv("LC_MESSAGES", c.messages, 1);
        setenv("LANG", c.lang, 1);
        EXPECT_EQ(StringTable::languagesOfEnvironment(), c.expected) << c.language << ' ' << c.all << ' ' << c.lang;
    }
}

TEST(Alert, IsShownByWhatIsInstalledElseLogged)
{
    NSAlert alert;
    alert.setMessageText("100 %@ failed");
    alert.setInformativeText("why");
    std::vector<std::string> shown;
    NSAlert::setPresenter([&](const NSAlert &a) { shown = {a.messageText(), a.informativeText()}; });
    kx::test::CapturedLog log;
    alert.runModal();
    NSAlert::setPresenter({});
    alert.runModal();
    EXPECT_EQ(shown, (std::vector<std::string>{"100 %@ failed", "why"}));
    EXPECT_EQ(log.messages(), std::vector<std::string>{"100 %@ failed: why"});
}

class Described : public NSObject
{
};

TEST(Object, IsDescribedByItsClassAndAddress)
{
    const std::unique_ptr<NSObject> object = std::make_unique<Described>();
    std::ostringstream expected;
    expected << "<(anonymous namespace)::Described: " << object.get() << ">";
    EXPECT_EQ(object->description(), expected.str());
}

TEST(BinarySymbols, BrokenFilesHaveNone)
{
    const std::vector<uint8_t> program = kx::test::readBytes("/proc/self/exe");
    const kx::BinarySymbols whole("/proc/self/exe");
    Elf64_Ehdr header;
    std::memcpy(&header, program.data(), sizeof header);
    ASSERT_TRUE(whole.functionAt(header.e_entry));
    EXPECT_EQ(whole.functionAt(header.e_entry)->name, "_start");
    EXPECT_FALSE(whole.functionAt(UINT64_MAX));

    const auto find = [&](const std::vector<uint8_t> &bytes) {
        return kx::BinarySymbols(kx::test::fileOf("binary", bytes).c_str()).functionAt(header.e_entry).has_value();
    };
    for (const std::size_t length : {std::size_t{0}, std::size_t{3}, sizeof header, program.size() / 2,
                                     static_cast<std::size_t>(header.e_shoff) + 200})
        EXPECT_FALSE(find({program.begin(), program.begin() + static_cast<std::ptrdiff_t>(length)})) << length;
    std::mt19937 random(8);
    for (int i = 0; i < 20; ++i) { // the headers of the sections say anything
        std::vector<uint8_t> bytes = program;
        for (std::size_t at = header.e_shoff; at < bytes.size(); at += 1 + random() % 60)
            bytes[at] = static_cast<uint8_t>(random());
        find(bytes);
    }
    EXPECT_FALSE(kx::BinarySymbols("/dev/null").functionAt(0));
}

} // namespace
