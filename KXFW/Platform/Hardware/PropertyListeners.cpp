#include "KXFW/Platform/Hardware/PropertyListeners.h"

#include "KXFW/Platform/Dispatch/LoggedTask.h"

#include <algorithm>

namespace
{

bool sameAddress(const AudioObjectPropertyAddress &a, const AudioObjectPropertyAddress &b) noexcept
{
    return a.mSelector == b.mSelector && a.mScope == b.mScope && a.mElement == b.mElement;
}

bool sameRegistration(const kx::ListenerRegistration &a, const kx::ListenerRegistration &b) noexcept
{
    return a.object == b.object && sameAddress(a.address, b.address) && a.listener == b.listener &&
           a.clientData == b.clientData;
}

} // namespace

void kx::PropertyListeners::add(const ListenerRegistration &registration)
{
    const std::lock_guard guard(lock_);
    const bool known = std::ranges::any_of(
        entries_, [&](const Entry &entry) { return sameRegistration(entry.registration, registration); });
    if (!known)
        entries_.push_back({nextSerial_++, registration});
}

void kx::PropertyListeners::remove(const ListenerRegistration &registration)
{
    std::unique_lock guard(lock_);
    std::erase_if(entries_, [&](const Entry &entry) { return sameRegistration(entry.registration, registration); });
    // Who removes it a second time meanwhile waits as well.
    if (!running_ || teller_ == std::this_thread::get_id() || !sameRegistration(running_->registration, registration))
        return;
    const uint64_t serial = running_->serial;
    ended_.wait(guard, [&] { return !running_ || running_->serial != serial; });
}

void kx::PropertyListeners::tell(AudioObjectID object, AudioObjectPropertySelector selector)
{
    for (const Entry &entry : matching(object, selector))
        call(entry, selector);
}

std::vector<kx::PropertyListeners::Entry> kx::PropertyListeners::matching(AudioObjectID object,
                                                                          AudioObjectPropertySelector selector)
{
    const std::lock_guard guard(lock_);
    std::vector<Entry> found;
    std::ranges::copy_if(entries_, std::back_inserter(found), [&](const Entry &entry) {
        return entry.registration.object == object && entry.registration.address.mSelector == selector;
    });
    return found;
}

void kx::PropertyListeners::call(const Entry &entry, AudioObjectPropertySelector selector)
{
    if (!begin(entry))
        return;
    runLogged("AudioObject listener", [&] {
        const ListenerRegistration &to = entry.registration;
        const AudioObjectPropertyAddress address{selector, kAudioObjectPropertyScopeGlobal,
                                                 kAudioObjectPropertyElementMaster};
        to.listener(to.object, 1, &address, to.clientData);
    });
    end();
}

bool kx::PropertyListeners::begin(const Entry &entry)
{
    const std::lock_guard guard(lock_);
    if (std::ranges::find(entries_, entry.serial, &Entry::serial) == entries_.end())
        return false;
    running_ = entry;
    teller_ = std::this_thread::get_id();
    return true;
}

void kx::PropertyListeners::end()
{
    {
        const std::lock_guard guard(lock_);
        running_.reset();
        teller_ = {};
    }
    ended_.notify_all();
}
