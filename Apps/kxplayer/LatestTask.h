#pragma once

#include <functional>
#include <future>
#include <stop_token>
#include <vector>

namespace kxplayer
{

/// Work away from the main thread of which only the latest is wanted: a task on a thread of its own, asked to stop when
/// another one starts, and when this goes. A task that cannot stop, as in the read of a disk that does not answer, is
/// never waited for longer than a second: whatever it uses has to be its own. For the main thread.
class LatestTask
{
public:
    using Task = std::function<void(const std::stop_token &stop)>;
    enum class Pace { Usual, WhenIdle };

    /// `threadName` has at most 15 characters and lives on.
    explicit LatestTask(const char *threadName, Pace pace = Pace::Usual) noexcept : threadName_(threadName), pace_(pace)
    {
    }
    ~LatestTask();
    LatestTask(const LatestTask &) = delete;
    LatestTask &operator=(const LatestTask &) = delete;

    /// Asks the task before to stop, and begins this one; std::system_error where there is no thread to be had. What
    /// the task throws is lost.
    void start(Task task);
    /// Asks the task to stop, and does not wait.
    void leave();

private:
    struct Thread {
        std::stop_source stop;
        std::future<void> ended;
    };

    const char *threadName_;
    Pace pace_;
    std::vector<Thread> threads_; ///< the last one may be wanted, those before it are about to end
};

} // namespace kxplayer
