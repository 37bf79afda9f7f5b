#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

/// Passes named notifications from those who post them to those who asked for them, on the posting thread.
///
///     auto &centre = NSNotificationCenter::defaultCenter();
///     const auto token = centre.addObserver("HardwarePropertyChanged", [](const std::string &) { ... });
///     centre.removeObserver(token);
class KX_EXPORT NSNotificationCenter
{
public:
    using Token = uint64_t; ///< names one observation; never given twice

    NSNotificationCenter();  ///< One of the caller's own. [any]
    ~NSNotificationCenter(); ///< [any]
    NSNotificationCenter(const NSNotificationCenter &) = delete;
    NSNotificationCenter &operator=(const NSNotificationCenter &) = delete;

    /// The process's own centre; lives until the process ends. [any]
    static NSNotificationCenter &defaultCenter();

    /// Calls `block` with each notification named `name`, until the token is removed. [any]
    Token addObserver(std::string name, std::function<void(const std::string &name)> block);
    /// Ends an observation. A block that is running on another thread may still finish. [any]
    void removeObserver(Token token);
    /// Calls the blocks of `name` in the order of their registration, with no lock held. One that an earlier block
    /// removes is left out; one that it adds waits for the next notification. [any]
    void postNotificationName(const std::string &name);

private:
    struct Impl;
    const std::unique_ptr<Impl> impl_;
};
