#include "Apps/kxtool/Commands.h"
#include "kx/File.h"

#include <iostream>
#include <string>
#include <vector>

namespace kxtool
{

namespace
{

std::string joined(const std::vector<std::string> &words)
{
    std::string text;
    for (const std::string &word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

} // namespace

void showFormats()
{
    for (const kx::Format &format : kx::formats())
        std::cout << format.name << '\t' << joined(format.suffixes) << '\t' << joined(format.mimeTypes) << '\n';
}

} // namespace kxtool
