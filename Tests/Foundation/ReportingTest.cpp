#include "KXFW/Platform/Foundation/NSAlert.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Foundation/Status.h"
#include "KXFW/Platform/Foundation/StringTable.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <regex>
#include <set>

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
    const std::map<std::vector<std::string>, std::string> expected{{{"de_DE.UTF-8"}, "Abspielen"},
                                                                   {{"de_AT@euro"}, "Spielen"},
                                                                   {{"de-AT"}, "Spielen"},
                                                                   {{"it", "fr_CA", "de"}, "Lire"},
                                                                   {{}, "Play"},
                                                                   {{"d", "deu", ""}, "Play"}};
    for (const auto &[preferred, text] : expected) {
        StringTable::setPreferredLanguages(preferred);
        EXPECT_EQ(table.localizedStringForKey("Play"), text) << testing::PrintToString(preferred);
    }
    StringTable::setPreferredLanguages({"de_AT", "fr"});
    EXPECT_EQ(table.localizedStringForKey("Stop"), "Stopp") << "the language helps out its country";
    EXPECT_EQ(table.localizedStringForKey("Empty", "value"), "");
    EXPECT_EQ(table.localizedStringForKey("Play", "", "Other"), "Avance");
    EXPECT_EQ(table.localizedStringForKey("none", "value", "Nowhere"), "value");
}

TEST(StringTable, TheEnvironmentNamesTheLanguages)
{
    using Names = std::vector<std::string>;
    const std::pair<std::array<const char *, 4>, Names> cases[] = {
        {{"de", "", "", ""}, {}},
        {{"de", "C.UTF-8", "fr", "fr"}, {}},
        {{"", "", "fr_FR.UTF-8", "de"}, {"fr_FR"}},
        {{"sv:de::", "", "", "fr_FR.UTF-8"}, {"sv", "de", "fr_FR"}},
    };
    constexpr std::array kVariables{"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"};
    for (const auto &[values, expected] : cases) {
        for (std::size_t i = 0; i < values.size(); ++i)
            setenv(kVariables[i], values[i], 1);
        EXPECT_EQ(StringTable::languagesOfEnvironment(), expected) << testing::PrintToString(values);
    }
}

TEST(Status, TheTableHasEachDeclaredStatusOnce)
{
    const auto root = std::filesystem::path(__FILE__).parent_path().parent_path().parent_path();
    const auto bytes = kx::test::readBytes(root / "KXFW/Platform/Foundation/Status.h");
    const std::string header(bytes.begin(), bytes.end());
    const std::regex declaration("constexpr OSStatus (\\w+)");
    std::set<std::string> undefined{"noErr"};
    for (std::sregex_iterator at(header.begin(), header.end(), declaration), end; at != end; ++at)
        undefined.insert((*at)[1]);
    EXPECT_GT(undefined.size(), 30u);
    std::set<OSStatus> numbers;
    std::set<std::string> texts;
    for (const kx::StatusEntry &entry : kx::statusTable()) {
        EXPECT_EQ(undefined.erase(entry.name), 1U) << entry.name << " twice, or not declared";
        EXPECT_TRUE(numbers.insert(entry.status).second && texts.insert(entry.text).second) << entry.name;
        EXPECT_EQ(kx::statusText(entry.status), entry.text);
    }
    EXPECT_EQ(undefined, std::set<std::string>{});
    EXPECT_EQ(kx::statusText(-1), "unknown error -1");
    EXPECT_EQ(kx::statusText(static_cast<OSStatus>(kx::fourCharCode("a b~"))), "unknown error 'a b~'");
    EXPECT_EQ(kx::statusText(0x61620a63), "unknown error 1633815139"); // a line break is not printed
}

TEST(Reporting, WhateverIsThrownHasATextAndItsInformationReadsAsOneLine)
{
    const auto textOf = [](const auto &thrown) {
        try {
            throw thrown;
        } catch (...) {
            return kx::currentExceptionText();
        }
    };
    EXPECT_EQ(textOf(NSException("name", "reason")), "name: reason");
    EXPECT_EQ(textOf(std::runtime_error("broken")), "broken");
    EXPECT_EQ(textOf(NSGenericException), "NSGenericException");
    EXPECT_EQ(textOf(std::string("bare")), "bare");
    EXPECT_EQ(textOf(static_cast<const char *>(nullptr)), "exception without a text");
    EXPECT_EQ(textOf(42), "exception without a text");
    EXPECT_EQ(kx::description(NSException::UserInfo{}), "{ }");
    EXPECT_EQ(kx::description({{"a", {NSCocoaErrorDomain, kAudioFileUnspecifiedError}},
                               {"b", {"other", -43}},
                               {"c", {NSCocoaErrorDomain, int64_t{1} << 40}}}),
              "{ a = \"NSCocoaErrorDomain 2003334207 (wht? the audio file failed for an unknown reason)\"; "
              "b = \"other -43\"; c = \"NSCocoaErrorDomain 1099511627776\"; }");
    NSAlert alert;
    alert.setMessageText("100 %@ failed");
    alert.setInformativeText("why");
    kx::test::CapturedLog log;
    alert.runModal();
    EXPECT_EQ(log.messages(), std::vector<std::string>{"100 %@ failed: why"}) << "where nothing shows it";
}

} // namespace
