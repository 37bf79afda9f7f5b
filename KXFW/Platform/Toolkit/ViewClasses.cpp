#include "KXFW/Platform/Toolkit/ViewClasses.h"

#include <map>
#include <utility>

namespace
{

std::map<std::string, kx::ViewClasses::Make> &classes()
{
    static auto *const known = new std::map<std::string, kx::ViewClasses::Make>; // used before main and until exit
    return *known;
}

} // namespace

void kx::ViewClasses::add(const std::string &name, Make make)
{
    classes()[name] = std::move(make);
}

bool kx::ViewClasses::contains(const std::string &name)
{
    return classes().contains(name);
}

std::shared_ptr<NSView> kx::ViewClasses::make(const std::string &name)
{
    const auto found = classes().find(name);
    return found == classes().end() ? nullptr : found->second();
}
