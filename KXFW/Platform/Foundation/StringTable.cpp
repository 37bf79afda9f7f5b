#include "KXFW/Platform/Foundation/StringTable.h"

#include "KXFW/Platform/Foundation/Guarded.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <utility>

namespace kx
{

struct StringTable::Impl {
    std::mutex lock;                                            ///< guards what follows
    std::map<std::pair<std::string, std::string>, Texts> texts; ///< by table and language
};

namespace
{

std::string environment(const char *name)
{
    const char *value = std::getenv(name);
    return value ? value : "";
}

/// "pt-BR.UTF-8@latin" as "pt_BR".
std::string plainName(std::string_view language)
{
    std::string name(language.substr(0, language.find_first_of(".@")));
    std::ranges::replace(name, '-', '_');
    return name;
}

Guarded<std::vector<std::string>> &preferredLanguages()
{
    static auto *const languages = new Guarded(StringTable::languagesOfEnvironment()); // never destroyed, as the tables
    return *languages;
}

} // namespace

StringTable::StringTable() : impl_(std::make_unique<Impl>()) {}

StringTable::~StringTable() = default;

StringTable &StringTable::main()
{
    static StringTable *const table = new StringTable; // never destroyed: threads may ask until exit
    return *table;
}

StringTable &StringTable::framework()
{
    static StringTable *const table = new StringTable;
    return *table;
}

void StringTable::setTexts(std::string_view language, Texts texts, std::string_view table)
{
    std::pair key(std::string(table), plainName(language));
    const std::lock_guard guard(impl_->lock);
    impl_->texts.insert_or_assign(std::move(key), std::move(texts));
}

std::string StringTable::localizedStringForKey(std::string_view key, std::string_view value,
                                               std::string_view table) const
{
    const std::vector<std::string> languages = preferredLanguages().get();
    const std::lock_guard guard(impl_->lock);
    for (const std::string &preferred : languages) {
        const std::string full = plainName(preferred);
        for (const std::string &language : {full, full.substr(0, full.find('_'))}) {
            const auto texts = impl_->texts.find(std::pair(std::string(table), language));
            if (texts == impl_->texts.end())
                continue;
            if (const auto text = texts->second.find(key); text != texts->second.end())
                return text->second;
        }
    }
    return std::string(value.empty() ? key : value);
}

void StringTable::setPreferredLanguages(std::vector<std::string> languages)
{
    preferredLanguages().set(std::move(languages));
}

std::vector<std::string> StringTable::languagesOfEnvironment()
{
    std::string locale;
    for (const char *name : {"LC_ALL", "LC_MESSAGES", "LANG"})
        if (locale.empty())
            locale = environment(name);
    const std::string plain = plainName(locale);
    if (plain.empty() || plain == "C" || plain == "POSIX")
        return {};
    std::vector<std::string> languages;
    const std::string list = environment("LANGUAGE") + ":" + plain;
    for (std::size_t start = 0, end = 0; start < list.size(); start = end + 1) {
        end = std::min(list.find(':', start), list.size());
        if (end > start)
            languages.push_back(list.substr(start, end - start));
    }
    return languages;
}

} // namespace kx
