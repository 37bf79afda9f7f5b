#include "KXFW/Platform/Dispatch/MainQueue.h"

#include "KXFW/Platform/Dispatch/LoggedTask.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

namespace
{

constexpr const char *kLabel = "kx.main";

/// Tasks in the order in which they came. One thread at a time hands them to the executor, without the lock, so that
/// the order holds whoever brings them and the executor may come back.
class Tasks
{
public:
    void add(std::function<void()> task)
    {
        const std::lock_guard guard(lock_);
        waiting_.push_back(std::move(task));
    }

    void setExecutor(kx::MainQueue::Executor executor)
    {
        std::unique_lock guard(lock_);
        // The old executor gets no call after this returns, so that what it refers to may go.
        delivered_.wait(guard, [this] { return !deliverer_ || deliverer_ == std::this_thread::get_id(); });
        std::swap(executor_, executor);
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
            kx::runLogged(kLabel, [&] { executor(std::move(task)); });
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
    std::function<void()> takeFirst()
    {
        std::function<void()> task = std::move(waiting_.front());
        waiting_.pop_front();
        return task;
    }

    std::mutex lock_;
    std::condition_variable delivered_;
    std::deque<std::function<void()>> waiting_;
    kx::MainQueue::Executor executor_;
    std::optional<std::thread::id> deliverer_;
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
    tasks().add([task = std::move(task)] { runLogged(kLabel, task); });
    tasks().deliver();
}

void kx::MainQueue::drain()
{
    tasks().drain();
}
