#include "Apps/kxtool/Commands.h"
#include "Apps/kxtool/Failure.h"
#include "Apps/kxtool/Input.h"
#include "kx/Diagnostics.h"

#include <iostream>

namespace kxtool
{

void showFormat(const FormatOptions &options)
{
    if (options.save)
        requireDifferentFiles(options.file, *options.save);
    for (const std::string &line : require(kx::streamDescription(options.file)))
        std::cout << line << '\n';
    if (options.save)
        require(kx::saveStreamDescription(options.file, *options.save));
}

void makeTone(const std::string &directory)
{
    std::cout << printable(require(kx::makeTestFile(directory)).string()) << '\n';
}

} // namespace kxtool
