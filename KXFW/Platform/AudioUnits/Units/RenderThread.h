#pragma once

namespace kx
{

/// Names the calling thread for debuggers and process lists. [any]
void nameThread(const char *name) noexcept;

/// Asks for a low real-time priority for the calling thread; children do not inherit it. False where the system
/// refuses, which is no fault: the thread then runs like any other. [any]
bool requestRealTimePriority() noexcept;

} // namespace kx
