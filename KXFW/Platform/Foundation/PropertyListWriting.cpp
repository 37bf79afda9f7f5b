#include "KXFW/Platform/Foundation/PropertyList.h"

#include "KXFW/Platform/Foundation/FileDescriptor.h"

#include <pugixml.hpp>

#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <sstream>
#include <unistd.h>

namespace
{

using kx::Number;

/// The shortest decimal text that reads back as the same value, in every locale.
std::string textOf(const Number &number)
{
    char text[64];
    const auto end = number.isReal() ? std::to_chars(text, text + sizeof text, number.doubleValue()).ptr
                                     : std::to_chars(text, text + sizeof text, number.int64Value()).ptr;
    return {text, end};
}

std::error_code systemError(int number)
{
    return {number, std::generic_category()};
}

} // namespace

std::string kx::propertyListText(const Dictionary &dictionary)
{
    pugi::xml_document document;
    pugi::xml_node declaration = document.append_child(pugi::node_declaration);
    declaration.append_attribute("version") = "1.0";
    declaration.append_attribute("encoding") = "UTF-8";
    pugi::xml_node list = document.append_child("plist");
    list.append_attribute("version") = "1.0";
    pugi::xml_node root = list.append_child("dict");
    for (const auto &[key, number] : dictionary) {
        root.append_child("key").text() = key.c_str();
        root.append_child(number.isReal() ? "real" : "integer").text() = textOf(number).c_str();
    }
    std::ostringstream text;
    document.save(text, "\t");
    return text.str();
}

std::error_code kx::writePropertyList(const Dictionary &dictionary, const std::filesystem::path &path)
{
    const std::string text = propertyListText(dictionary);
    // Without O_NONBLOCK a pipe that nobody reads would never open.
    const int file =
        open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0666); // less the umask
    if (file < 0)
        return systemError(errno);
    const int failure = writeAll(file, std::as_bytes(std::span(text)));
    return systemError(close(file) != 0 && failure == 0 ? errno : failure);
}
