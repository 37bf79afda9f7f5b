#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <functional>

namespace kx
{

/// The main queue: tasks for the application's main thread, in FIFO order. The framework has no main loop; the
/// application, or the toolkit, installs an executor that runs a task on the main thread. Until then tasks wait.
class KX_EXPORT MainQueue
{
public:
    using Executor = std::function<void(std::function<void()> task)>;

    /// Hands waiting and later tasks to `executor`; an empty one makes them wait again, but those that `sync` waits
    /// for: they are given up. [main]
    static void install(Executor executor);
    /// Runs `task` on the main thread later; never on the caller's stack. [any]
    static void async(std::function<void()> task);
    /// Runs `task` on the main thread, after those queued before it, and returns when it is over; called there it runs
    /// at once. An exception goes to the caller. False when it did not run: there is no executor, or it went, or it
    /// threw the task away, as a toolkit does at its end. [any] [blocks]
    static bool sync(const std::function<void()> &task);
    /// Runs the tasks that wait for an executor now, on this thread, for programs with a loop of their own. [main]
    static void drain();
};

} // namespace kx
