#include "KXFW/Platform/Foundation/NSObject.h"

#include "KXFW/Platform/Foundation/Demangling.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <algorithm>
#include <array>
#include <typeinfo>

std::string NSObject::description() const
{
    const std::string name = kx::demangled(typeid(*this).name());
    const std::array values{kx::logArgument(name), kx::logArgument(reinterpret_cast<uintptr_t>(this))};
    return kx::formatted("<%@: 0x%lx>", values);
}

void NSObject::addObserver(NSObject *observer, std::string key)
{
    const std::lock_guard guard(observersLock_);
    observers_.emplace_back(observer, std::move(key));
}

void NSObject::removeObserver(NSObject *observer, const std::string &key)
{
    const std::lock_guard guard(observersLock_);
    const auto found = std::ranges::find(observers_, std::pair(observer, key));
    if (found != observers_.end())
        observers_.erase(found);
}

void NSObject::willChangeValueForKey(const std::string &) {}

void NSObject::didChangeValueForKey(const std::string &key)
{
    std::vector<NSObject *> told;
    {
        const std::lock_guard guard(observersLock_);
        for (const auto &[observer, observedKey] : observers_)
            if (observedKey == key)
                told.push_back(observer);
    }
    for (NSObject *observer : told)
        if (isRegistered(observer, key)) // an earlier observer may have removed this one and let it go
            observer->observeValueForKey(key, *this);
}

void NSObject::observeValueForKey(const std::string &, NSObject &) {}

bool NSObject::isObserved(const std::string &key) const
{
    const std::lock_guard guard(observersLock_);
    return std::ranges::any_of(observers_, [&](const auto &entry) { return entry.second == key; });
}

bool NSObject::isRegistered(NSObject *observer, const std::string &key) const
{
    const std::lock_guard guard(observersLock_);
    return std::ranges::find(observers_, std::pair(observer, key)) != observers_.end();
}
