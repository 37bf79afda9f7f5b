#pragma once

#include <functional>
#include <string_view>

namespace kx
{

/// Runs `task`; an exception that leaves it ends in one log line under the queue's label. [any]
void runLogged(std::string_view label, const std::function<void()> &task) noexcept;

/// Gives the calling thread a name for debuggers, cut to the 15 bytes that the system keeps. [any]
void nameThisThread(std::string_view name) noexcept;

} // namespace kx
