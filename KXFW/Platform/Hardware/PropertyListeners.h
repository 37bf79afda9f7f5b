#pragma once

#include "KXFW/Platform/Hardware/AudioObject.h"

#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace kx
{

/// One listener's wish to hear of one property.
struct ListenerRegistration {
    AudioObjectID object;
    AudioObjectPropertyAddress address;
    AudioObjectPropertyListenerProc listener;
    void *clientData; ///< borrowed until the registration is removed
};

/// The registered listeners. They are called by one thread at a time, the notification thread, with no lock held, so
/// that they may add and remove listeners and ask for properties.
class PropertyListeners
{
public:
    /// The same registration twice counts once. [any]
    void add(const ListenerRegistration &registration);
    /// When it returns no call of this registration is running or will come, unless it is called from inside a
    /// listener. Without such a registration it does nothing. [any] [blocks]
    void remove(const ListenerRegistration &registration);

    /// Calls every listener of that property, in the order of their registration. Those that are added meanwhile are
    /// not called, those that are removed meanwhile no more. What a listener throws is logged. Only on the
    /// notification thread. [blocks]
    void tell(AudioObjectID object, AudioObjectPropertySelector selector);

private:
    struct Entry {
        uint64_t serial;
        ListenerRegistration registration;
    };

    [[nodiscard]] std::vector<Entry> matching(AudioObjectID object, AudioObjectPropertySelector selector);
    void call(const Entry &entry, AudioObjectPropertySelector selector);
    /// False when the entry has been removed.
    bool begin(const Entry &entry);
    void end();

    std::mutex lock_;
    std::condition_variable ended_;
    std::vector<Entry> entries_;
    uint64_t nextSerial_ = 1;
    std::optional<Entry> running_; ///< the entry that is being called
    std::thread::id teller_;       ///< who calls it
};

} // namespace kx
