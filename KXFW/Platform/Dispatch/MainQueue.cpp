#include "KXFW/Platform/Dispatch/MainQueue.h"

#include "KXFW/Platform/Dispatch/LoggedTask.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace
{

constexpr const char *kMainLabel = "kx.main";

/// Where a thread waits for its task, and learns how it ended.
class Meeting
{
public:
    /// Goes with the task, run or not: then nobody waits any more.
    class Guest
    {
    public:
        explicit Guest(Meeting &meeting) : meeting_(meeting) {}
        ~Guest() { meeting_.end(); }
        Guest(const Guest &) = delete;
        Guest &operator=(const Guest &) = delete;

        void run(const std::function<void()> &task) noexcept
        {
            meeting_.ran_ = true;
            try {
                task();
            } catch (...) {
                meeting_.failure_ = std::current_exception();
            }
        }

    private:
        Meeting &meeting_;
    };

    bool await()
    {
        std::unique_lock guard(lock_);
        ended_.wait(guard, [this] { return over_; });
        if (failure_)
            std::rethrow_exception(failure_);
        return ran_;
    }

private:
    void end()
    {
        const std::lock_guard guard(lock_); // held while it notifies: the meeting goes when the waiter has seen it
        over_ = true;
        ended_.notify_all();
    }

    std::mutex lock_;
    std::condition_variable ended_;
    bool over_ = false;
    bool ran_ = false;
    std::exception_ptr failure_;
};

/// Tasks in the order in which they came. One thread at a time hands them to the executor, without the lock, so that
/// the order holds whoever brings them and the executor may come back.
class Tasks
{
public:
    void add(std::function<void()> task)
    {
        const std::lock_guard guard(lock_);
        waiting_.push_back({std::move(task), false});
    }

    /// A task that somebody waits for; refused where nobody would run it.
    bool addAwaited(std::function<void()> task)
    {
        const std::lock_guard guard(lock_);
        if (executor_)
            waiting_.push_back({std::move(task), true});
        return static_cast<bool>(executor_);
    }

    [[nodiscard]] bool isMainThread()
    {
        const std::lock_guard guard(lock_);
        return mainThread_ == std::this_thread::get_id();
    }

    void setExecutor(kx::MainQueue::Executor executor)
    {
        std::unique_lock guard(lock_);
        // The old executor gets no call after this returns, so that what it refers to may go.
        delivered_.wait(guard, [this] { return !deliverer_ || deliverer_ == std::this_thread::get_id(); });
        std::swap(executor_, executor);
        mainThread_ = executor_ ? std::this_thread::get_id() : std::thread::id{};
        if (!executor_)
            std::erase_if(waiting_, [](const Task &task) { return task.awaited; });
    }

    void deliver()
    {
        std::unique_lock guard(lock_);
        if (deliverer_)
            return; // that thread sees the new task, too
        deliverer_ = std::this_thread::get_id();
        while (executor_ && !waiting_.empty()) {
            std::function<void()> task = takeFirst();
            const kx::MainQueue::Executor executor = executor_;
            guard.unlock();
            kx::runLogged(kMainLabel, [&] { executor(std::move(task)); });
            guard.lock();
        }
        deliverer_.reset();
        delivered_.notify_all();
    }

    void drain()
    {
        std::unique_lock guard(lock_);
        // Only those that wait now: a task that queues itself again must not keep the caller for ever.
        for (std::size_t left = waiting_.size(); left > 0 && !waiting_.empty(); --left) {
            const std::function<void()> task = takeFirst();
            guard.unlock();
            task();
            guard.lock();
        }
    }

private:
    struct Task {
        std::function<void()> run;
        bool awaited;
    };

    std::function<void()> takeFirst()
    {
        std::function<void()> task = std::move(waiting_.front().run);
        waiting_.pop_front();
        return task;
    }

    std::mutex lock_;
    std::condition_variable delivered_;
    std::deque<Task> waiting_;
    kx::MainQueue::Executor executor_;
    std::optional<std::thread::id> deliverer_;
    std::thread::id mainThread_; ///< that installed the executor
};

Tasks &tasks()
{
    static Tasks *const shared = new Tasks; // never destroyed: threads may bring tasks until exit
    return *shared;
}

} // namespace

void kx::MainQueue::install(Executor executor)
{
    tasks().setExecutor(std::move(executor));
    tasks().deliver();
}

void kx::MainQueue::async(std::function<void()> task)
{
    if (!task)
        return;
    tasks().add([task = std::move(task)] { runLogged(kMainLabel, task); });
    tasks().deliver();
}

bool kx::MainQueue::sync(const std::function<void()> &task)
{
    if (!task)
        return false;
    if (tasks().isMainThread()) {
        task();
        return true;
    }
    Meeting meeting;
    auto guest = std::make_shared<Meeting::Guest>(meeting);
    if (!tasks().addAwaited([guest, &task] { guest->run(task); }))
        return false;
    guest.reset();
    tasks().deliver();
    return meeting.await();
}

void kx::MainQueue::drain()
{
    tasks().drain();
}
