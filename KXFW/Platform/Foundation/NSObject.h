#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <memory>
#include <string>

/// The root of objects whose properties can be observed.
///
/// A setter of an observed key calls willChangeValueForKey before and didChangeValueForKey after it stores the value.
/// The base's didChangeValueForKey tells every observer of that key; a class that overrides it and does not call the
/// base keeps the announcement to itself. Observers are borrowed: remove them before they go.
class KX_EXPORT NSObject
{
public:
    NSObject();          ///< [any]
    virtual ~NSObject(); ///< [any]
    NSObject(const NSObject &) = delete;
    NSObject &operator=(const NSObject &) = delete;

    /// The object as a log line shows it; the base gives its class and address, "<KXAFilePlayer: 0x55e8c0de>". [any]
    [[nodiscard]] virtual std::string description() const;

    /// Registers `observer` for changes of `key` on this object. [any]
    void addObserver(NSObject *observer, std::string key);
    /// Ends one such registration; without one it does nothing. [any]
    void removeObserver(NSObject *observer, const std::string &key);

    /// Announces that `key` is about to change; the base does nothing. [any]
    virtual void willChangeValueForKey(const std::string &key);
    /// Announces that `key` has changed, on the thread that changed it. [any]
    virtual void didChangeValueForKey(const std::string &key);
    /// An observed object's key has changed; the base does nothing. Called on the changing thread. [any]
    virtual void observeValueForKey(const std::string &key, NSObject &object);

protected:
    /// True while somebody observes `key`: only then do setters announce. [any]
    [[nodiscard]] bool isObserved(const std::string &key) const;

private:
    struct Impl;
    const std::unique_ptr<Impl> impl_;
};
