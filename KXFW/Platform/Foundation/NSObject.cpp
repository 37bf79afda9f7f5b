#include "KXFW/Platform/Foundation/NSObject.h"

#include "KXFW/Platform/Foundation/Demangling.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <typeinfo>
#include <utility>
#include <vector>

struct NSObject::Impl {
    using Observation = std::pair<NSObject *, std::string>;

    [[nodiscard]] bool has(const Observation &observation)
    {
        const std::lock_guard guard(lock);
        return std::ranges::find(observations, observation) != observations.end();
    }

    std::mutex lock; ///< guards what follows
    std::vector<Observation> observations;
};

NSObject::NSObject() : impl_(std::make_unique<Impl>()) {}

NSObject::~NSObject() = default;

std::string NSObject::description() const
{
    const std::string name = kx::demangled(typeid(*this).name());
    const std::array values{kx::logArgument(name), kx::logArgument(reinterpret_cast<uintptr_t>(this))};
    return kx::formatted("<%@: 0x%lx>", values);
}

void NSObject::addObserver(NSObject *observer, std::string key)
{
    const std::lock_guard guard(impl_->lock);
    impl_->observations.emplace_back(observer, std::move(key));
}

void NSObject::removeObserver(NSObject *observer, const std::string &key)
{
    const std::lock_guard guard(impl_->lock);
    const auto found = std::ranges::find(impl_->observations, Impl::Observation(observer, key));
    if (found != impl_->observations.end())
        impl_->observations.erase(found);
}

void NSObject::willChangeValueForKey(const std::string &) {}

void NSObject::didChangeValueForKey(const std::string &key)
{
    std::vector<NSObject *> told;
    {
        const std::lock_guard guard(impl_->lock);
        for (const auto &[observer, observedKey] : impl_->observations)
            if (observedKey == key)
                told.push_back(observer);
    }
    for (NSObject *observer : told)
        if (impl_->has({observer, key})) // an earlier observer may have removed this one and let it go
            observer->observeValueForKey(key, *this);
}

void NSObject::observeValueForKey(const std::string &, NSObject &) {}

bool NSObject::isObserved(const std::string &key) const
{
    const std::lock_guard guard(impl_->lock);
    return std::ranges::any_of(impl_->observations, [&](const auto &entry) { return entry.second == key; });
}
