#include "KXFW/Platform/AudioUnits/UnitRegistry.h"

#include "KXFW/Platform/AudioUnits/Unit.h"
#include "KXFW/Platform/Foundation/PriorityMutex.h"

#include <cstdint>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace kx
{

namespace
{

struct Table {
    PriorityMutex lock;
    std::uintptr_t last = 0;
    std::unordered_map<AudioUnit, std::shared_ptr<Unit>> units;
};

/// Never destroyed: render threads may outlive the statics of a program that ends.
Table &table()
{
    static Table &instance = *new Table;
    return instance;
}

} // namespace

AudioUnit UnitRegistry::add(std::shared_ptr<Unit> unit)
{
    Table &all = table();
    const std::lock_guard guard(all.lock);
    all.last += 16;
    // A number that looks like a pointer and is never followed. NOLINTNEXTLINE(performance-no-int-to-ptr)
    const auto handle = reinterpret_cast<AudioUnit>(all.last);
    unit->setHandle(handle);
    all.units.emplace(handle, std::move(unit));
    return handle;
}

std::shared_ptr<Unit> UnitRegistry::find(AudioUnit handle)
{
    Table &all = table();
    const std::lock_guard guard(all.lock);
    const auto at = all.units.find(handle);
    return at == all.units.end() ? nullptr : at->second;
}

std::shared_ptr<Unit> UnitRegistry::remove(AudioUnit handle)
{
    Table &all = table();
    const std::lock_guard guard(all.lock);
    const auto at = all.units.find(handle);
    if (at == all.units.end())
        return nullptr;
    auto unit = std::move(at->second);
    all.units.erase(at);
    return unit;
}

} // namespace kx
