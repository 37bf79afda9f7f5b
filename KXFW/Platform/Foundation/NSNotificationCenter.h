#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// Passes named notifications from those who post them to those who asked for them, on the posting thread.
///
///     auto &centre = NSNotificationCenter::defaultCenter();
///     const auto token = centre.addObserver("HardwarePropertyChanged", [](const std::string &) { ... });
///     centre.removeObserver(token);
class KX_EXPORT NSNotificationCenter
{
public:
    using Token = uint64_t; ///< names one observation; never given twice

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
    using Block = std::function<void(const std::string &)>;
    struct Observer {
        Token token;
        std::string name;
        std::shared_ptr<const Block> block; ///< shared with the posts under way
    };
    std::shared_ptr<const Block> blockOf(Token token);

    std::mutex lock_;
    Token next_ = 1;
    std::vector<Observer> observers_;
};
