#pragma once

#include <chrono>

namespace kxtool
{

/// Waits for what ends a command: a signal that asks for the end (interrupt, termination, a terminal or a reader that
/// has gone), unless it is ignored, or the end of its work on another thread.
///
/// The signals are blocked from its making on, in all threads that start later too, and read from a descriptor: no
/// signal handler runs. Make it before anything that starts threads.
class Waiter
{
public:
    enum class Event { Signal, Finished, Timeout };

    Waiter();
    ~Waiter();
    Waiter(const Waiter &) = delete;
    Waiter &operator=(const Waiter &) = delete;

    /// The next event, Timeout after `timeout`. A signal is told once, the finish each time. [main] [blocks]
    Event wait(std::chrono::milliseconds timeout);
    /// Tells the waiting thread that the work has ended. [any]
    void finish() noexcept;

private:
    int signals_;
    int finished_;
};

} // namespace kxtool
