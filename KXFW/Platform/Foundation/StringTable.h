#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kx
{

/// Texts for people, looked up under keys in the languages of the user. An application supplies them, one language at
/// a time; what it does not supply appears as the key itself. Used from any thread.
///
///     kx::StringTable::main().setTexts("de", {{"Failed to read a file.", "Die Datei ist nicht lesbar."}});
class KX_EXPORT StringTable
{
public:
    using Texts = std::map<std::string, std::string, std::less<>>;

    StringTable();  ///< No texts. [any]
    ~StringTable(); ///< [any]
    StringTable(const StringTable &) = delete;
    StringTable &operator=(const StringTable &) = delete;

    static StringTable &main();      ///< The application's texts. [any]
    static StringTable &framework(); ///< The texts of the library's own screens, such as "Play". [any]

    /// Replaces the texts of a language ("de", "pt_BR") in the table of that name, "" being the default one. [any]
    void setTexts(std::string_view language, Texts texts, std::string_view table = {});

    /// The text of `key` in the first of the preferred languages that has one: a language with a country before the
    /// language alone. Else `value`, or where that is empty the key. [any]
    [[nodiscard]] std::string localizedStringForKey(std::string_view key, std::string_view value = {},
                                                    std::string_view table = {}) const;

    /// The languages of every table, most wanted first. Until it is called they come from the environment. [any]
    static void setPreferredLanguages(std::vector<std::string> languages);

    /// The languages that LANGUAGE (a list with colons), LC_ALL, LC_MESSAGES and LANG name, most wanted first; none in
    /// the C locale. Read once by the tables. [any]
    [[nodiscard]] static std::vector<std::string> languagesOfEnvironment();

private:
    struct Impl;
    const std::unique_ptr<Impl> impl_;
};

} // namespace kx
