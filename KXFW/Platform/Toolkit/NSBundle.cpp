#include "KXFW/Platform/Toolkit/NSBundle.h"

#include <QFile>
#include <QString>

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <utility>

namespace
{

constexpr const char *kFramework = "KXFWUI";

/// "player" of the program /usr/bin/player, also after the file was replaced while the program runs.
std::string programName()
{
    std::error_code failed;
    std::string name = std::filesystem::read_symlink("/proc/self/exe", failed).filename();
    constexpr std::string_view kReplaced = " (deleted)";
    if (name.ends_with(kReplaced))
        name.resize(name.size() - kReplaced.size());
    return name;
}

/// "KXFWUI" of /usr/lib/libKXFWUI.so.1.
std::string libraryName(const std::filesystem::path &path)
{
    std::string name = path.filename();
    name.resize(std::min(name.find(".so"), name.size()));
    return name.starts_with("lib") ? name.substr(3) : name;
}

std::string binaryAt(const void *address)
{
    Dl_info info{};
    link_map *map = nullptr;
    if (!dladdr1(address, &info, reinterpret_cast<void **>(&map), RTLD_DL_LINKMAP) || !map || !*map->l_name)
        return programName();
    return libraryName(map->l_name);
}

bool isPlain(const std::string &name)
{
    return !name.empty() && name.find('/') == std::string::npos && name.find("..") == std::string::npos;
}

} // namespace

struct NSBundle::Impl {
    std::string name;
};

NSBundle::NSBundle(std::string name) : impl_(std::make_shared<const Impl>(Impl{std::move(name)})) {}

NSBundle::~NSBundle() = default;
NSBundle::NSBundle(const NSBundle &) = default;
NSBundle &NSBundle::operator=(const NSBundle &) = default;

const std::string &NSBundle::name() const noexcept
{
    return impl_->name;
}

bool NSBundle::operator==(const NSBundle &other) const noexcept
{
    return name() == other.name();
}

NSBundle NSBundle::bundleForClass(const std::type_info &cls)
{
    return NSBundle(binaryAt(cls.name())); // the text stays in the class's binary, where a program may copy the rest
}

std::optional<std::string> NSBundle::pathForInterfaceFile(const std::string &file) const
{
    if (!isPlain(file))
        return std::nullopt;
    for (const std::string &folder : {name(), std::string(kFramework)}) {
        std::string path = ":/";
        path.append(folder).append("/").append(file).append(".ui");
        if (isPlain(folder) && QFile::exists(QString::fromStdString(path)))
            return path;
    }
    return std::nullopt;
}
