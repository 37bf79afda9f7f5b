#pragma once

#include "KXFW/Platform/Dispatch/SerialQueue.h"

#include <functional>
#include <mutex>
#include <string>

namespace kx
{

/// Calls a backend's change handler on a queue of its own, under no lock of a library's; a burst of changes is told
/// once. Ends, when it is destroyed, with what was still to tell: as a member it goes first.
class ChangeTeller
{
public:
    explicit ChangeTeller(std::string label) : queue_(std::move(label)) {}

    void setHandler(std::function<void()> handler); ///< [any]
    void tell();                                    ///< [any]

private:
    std::mutex lock_; ///< guards the next two
    std::function<void()> handler_;
    bool isScheduled_ = false;
    SerialQueue queue_; ///< goes first: its tasks use the rest
};

} // namespace kx
