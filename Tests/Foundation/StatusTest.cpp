#include "KXFW/Platform/Foundation/Status.h"
#include "KXFW/Platform/Foundation/NSException.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>

namespace
{

/// The names of the statuses that the header declares.
std::set<std::string> declaredStatuses()
{
    const auto root = std::filesystem::path(__FILE__).parent_path().parent_path().parent_path();
    std::ifstream header(root / "KXFW/Platform/Foundation/Status.h");
    const std::string text(std::istreambuf_iterator<char>(header), {});
    const std::string declaration = "constexpr OSStatus ";
    std::set<std::string> names;
    for (std::size_t at = text.find(declaration); at != std::string::npos; at = text.find(declaration, at + 1)) {
        const std::size_t start = at + declaration.size();
        names.insert(text.substr(start, text.find(' ', start) - start));
    }
    names.insert("noErr");
    return names;
}

TEST(Status, TheTableHasEachDeclaredStatusOnce)
{
    const std::set<std::string> declared = declaredStatuses();
    ASSERT_GT(declared.size(), 30u);
    std::set<std::string> names;
    std::set<OSStatus> numbers;
    std::set<std::string> texts;
    for (const kx::StatusEntry &entry : kx::statusTable()) {
        EXPECT_TRUE(names.insert(entry.name).second) << entry.name << " twice";
        EXPECT_TRUE(numbers.insert(entry.status).second) << entry.name << " has the number of another";
        EXPECT_TRUE(texts.insert(entry.text).second) << entry.name << " has the text of another";
        EXPECT_TRUE(std::islower(entry.text[0])) << entry.text;
        EXPECT_NE(std::string(entry.text).back(), '.') << entry.text;
        EXPECT_STREQ(kx::statusName(entry.status), entry.name);
        EXPECT_EQ(kx::statusText(entry.status), entry.text);
    }
    EXPECT_EQ(names, declared);
}

TEST(Status, AnUnknownStatusShowsItsNumberOrItsCharacters)
{
    EXPECT_STREQ(kx::statusName(-1), "unknown status");
    EXPECT_EQ(kx::statusText(-1), "unknown error -1");
    EXPECT_EQ(kx::statusText(static_cast<OSStatus>(kx::fourCharCode("a b~"))), "unknown error 'a b~'");
    EXPECT_EQ(kx::statusText(0x61620a63), "unknown error 1633815139"); // a line break is not printed
}

TEST(NSException, UserInformationReadsAsOneLine)
{
    EXPECT_EQ(kx::description(NSException::UserInfo{}), "{ }");
    EXPECT_EQ(kx::description({{"a", {NSCocoaErrorDomain, kAudioFileUnspecifiedError}},
                               {"b", {"other", -43}},
                               {"c", {NSCocoaErrorDomain, int64_t{1} << 40}}}),
              "{ a = \"NSCocoaErrorDomain 2003334207 (wht? the audio file failed for an unknown reason)\"; "
              "b = \"other -43\"; c = \"NSCocoaErrorDomain 1099511627776\"; }");
}

template <class Thrown> std::string textOf(const Thrown &thrown)
{
    try {
        throw thrown;
    } catch (...) {
        return kx::currentExceptionText();
    }
}

TEST(NSException, WhateverIsThrownHasAText)
{
    EXPECT_EQ(textOf(NSException("name", "reason")), "name: reason");
    EXPECT_EQ(textOf(std::runtime_error("broken")), "broken");
    EXPECT_EQ(textOf(NSGenericException), "NSGenericException");
    EXPECT_EQ(textOf(std::string("bare")), "bare");
    EXPECT_EQ(textOf(static_cast<const char *>(nullptr)), "exception without a text");
    EXPECT_EQ(textOf(42), "exception without a text");
}

} // namespace
