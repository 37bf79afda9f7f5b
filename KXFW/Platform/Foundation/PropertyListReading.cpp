#include "KXFW/Platform/Foundation/PropertyList.h"

#include <pugixml.hpp>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

using kx::Dictionary;
using kx::Number;

/// Up to `room` bytes of an open file; nothing after an input error.
std::optional<std::string> bytesOf(int file, std::size_t room)
{
    std::string bytes(room, '\0');
    std::size_t used = 0;
    while (used < room) {
        const ssize_t got = read(file, bytes.data() + used, room - used);
        if (got < 0 && errno != EINTR)
            return std::nullopt;
        if (got == 0)
            break;
        used += got > 0 ? static_cast<std::size_t>(got) : 0;
    }
    bytes.resize(used);
    return bytes;
}

/// The file's bytes if it is a regular file of an allowed size. Neither a pipe nor a device holds it up.
std::optional<std::string> contentsOf(const std::filesystem::path &path)
{
    struct stat info = {};
    if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode))
        return std::nullopt;
    const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (file < 0)
        return std::nullopt;
    std::optional<std::string> bytes;
    if (fstat(file, &info) == 0 && S_ISREG(info.st_mode))
        bytes = bytesOf(file, kx::kMaximumPropertyListBytes + 1);
    close(file);
    if (bytes && bytes->size() > kx::kMaximumPropertyListBytes)
        return std::nullopt;
    return bytes;
}

/// All text of an element that has no elements in it, comments left out.
std::optional<std::string> textOf(pugi::xml_node element)
{
    std::string text;
    for (const pugi::xml_node child : element.children()) {
        if (child.type() == pugi::node_element)
            return std::nullopt;
        text += child.value();
    }
    return text;
}

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t\r\n";
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

/// `text` as a whole as a number, in decimal; a plus sign before it is allowed.
template <class Value> std::optional<Value> parsed(std::string_view text)
{
    text = trimmed(text);
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    Value value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

std::optional<Number> numberOf(pugi::xml_node element)
{
    const std::string_view kind = element.name();
    const std::optional<std::string> text = textOf(element);
    if (text && kind == "integer") {
        if (const auto value = parsed<int64_t>(*text))
            return Number(*value);
    } else if (text && kind == "real") {
        if (const auto value = parsed<double>(*text); value && std::isfinite(*value))
            return Number(*value);
    }
    return std::nullopt;
}

bool isElement(pugi::xml_node node)
{
    return node.type() == pugi::node_element;
}

pugi::xml_node nextElement(pugi::xml_node node)
{
    do
        node = node.next_sibling();
    while (node && !isElement(node));
    return node;
}

/// The dictionary that is the root of the document, with or without the element that names the format around it.
pugi::xml_node rootDictionary(const pugi::xml_document &document)
{
    pugi::xml_node root = document.document_element();
    if (nextElement(root))
        return {};
    if (std::string_view(root.name()) == "plist") {
        root = root.find_child(isElement);
        if (nextElement(root))
            return {};
    }
    return std::string_view(root.name()) == "dict" ? root : pugi::xml_node();
}

/// Keys and values in turn; nested values are not looked into, so no depth of nesting costs anything.
std::optional<Dictionary> entriesOf(pugi::xml_node dictionary)
{
    Dictionary entries;
    for (pugi::xml_node key = dictionary.find_child(isElement); key; key = nextElement(key)) {
        const std::optional<std::string> name = textOf(key);
        const pugi::xml_node value = nextElement(key);
        if (std::string_view(key.name()) != "key" || !name || !value)
            return std::nullopt;
        entries.erase(*name);
        if (const std::optional<Number> number = numberOf(value))
            entries.emplace(*name, *number);
        key = value;
    }
    return entries;
}

} // namespace

std::optional<Dictionary> kx::readPropertyList(const std::filesystem::path &path)
{
    const std::optional<std::string> bytes = contentsOf(path);
    pugi::xml_document document;
    if (!bytes || !document.load_buffer(bytes->data(), bytes->size()))
        return std::nullopt;
    const pugi::xml_node dictionary = rootDictionary(document);
    return dictionary ? entriesOf(dictionary) : std::nullopt;
}
