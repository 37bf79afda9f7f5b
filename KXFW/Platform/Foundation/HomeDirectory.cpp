#include "KXFW/Platform/Foundation/HomeDirectory.h"

#include <array>
#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

std::filesystem::path kx::homeDirectory()
{
    if (const char *home = std::getenv("HOME"); home && *home == '/')
        return home;
    passwd entry{};
    passwd *found = nullptr;
    std::array<char, 16384> texts{};
    if (getpwuid_r(geteuid(), &entry, texts.data(), texts.size(), &found) == 0 && found && *found->pw_dir == '/')
        return found->pw_dir;
    return "/";
}
