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

struct Entry {
    std::shared_ptr<Unit> unit;
    uint32_t holders = 0;
    bool isReleased = false; ///< ends with its last holder
};

struct Table {
    PriorityMutex lock;
    std::uintptr_t last = 0;
    std::unordered_map<AudioUnit, Entry> units;
};

/// Never destroyed: render threads may outlive the statics of a program that ends.
Table &table()
{
    static Table &instance = *new Table;
    return instance;
}

/// Changes an entry, and takes it out when nobody has a claim on it any more.
template <class Edit> std::shared_ptr<Unit> change(AudioUnit handle, Edit edit)
{
    Table &all = table();
    const std::lock_guard guard(all.lock);
    const auto at = all.units.find(handle);
    if (at == all.units.end())
        return nullptr;
    edit(at->second);
    if (!at->second.isReleased || at->second.holders > 0)
        return nullptr;
    auto unit = std::move(at->second.unit);
    all.units.erase(at);
    return unit;
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
    all.units.emplace(handle, Entry{std::move(unit)});
    return handle;
}

std::shared_ptr<Unit> UnitRegistry::find(AudioUnit handle)
{
    Table &all = table();
    const std::lock_guard guard(all.lock);
    const auto at = all.units.find(handle);
    return at == all.units.end() ? nullptr : at->second.unit;
}

std::shared_ptr<Unit> UnitRegistry::remove(AudioUnit handle)
{
    Table &all = table();
    const std::lock_guard guard(all.lock);
    const auto at = all.units.find(handle);
    if (at == all.units.end())
        return nullptr;
    auto unit = std::move(at->second.unit);
    all.units.erase(at);
    return unit;
}

bool UnitRegistry::hold(AudioUnit handle)
{
    bool found = false;
    change(handle, [&](Entry &entry) {
        found = true;
        ++entry.holders;
    });
    return found;
}

std::shared_ptr<Unit> UnitRegistry::letGo(AudioUnit handle)
{
    return change(handle, [](Entry &entry) { --entry.holders; });
}

std::shared_ptr<Unit> UnitRegistry::release(AudioUnit handle)
{
    return change(handle, [](Entry &entry) { entry.isReleased = true; });
}

} // namespace kx
