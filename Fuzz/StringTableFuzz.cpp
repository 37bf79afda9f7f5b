// Takes the lines of the bytes as the user's languages, and as texts and keys of a table.
#include "Fuzz/FuzzTarget.h"
#include "KXFW/Platform/Foundation/StringTable.h"

#include <cstdlib>
#include <sstream>

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    std::istringstream lines(std::string(reinterpret_cast<const char *>(data), size));
    std::string languages;
    std::string language;
    std::string table;
    std::getline(lines, languages);
    std::getline(lines, language);
    std::getline(lines, table);
    ::setenv("LANGUAGE", languages.c_str(), 1);
    ::setenv("LC_ALL", language.c_str(), 1);
    kx::StringTable::setPreferredLanguages(kx::StringTable::languagesOfEnvironment());
    kx::StringTable texts;
    kx::StringTable::Texts given;
    std::string key;
    for (std::string text; std::getline(lines, key) && std::getline(lines, text);)
        given.insert_or_assign(key, text);
    texts.setTexts(language, given, table);
    for (const auto &[name, text] : given) {
        const std::string shown = texts.localizedStringForKey(name, {}, table);
        kx::fuzz::require(shown == text || shown == name, "a key gives its text or itself");
    }
    kx::fuzz::require(texts.localizedStringForKey(key + "?", "value", table + "?") == "value",
                      "a key that is not there gives the value");
    return 0;
}
