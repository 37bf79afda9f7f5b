#include "KXFW/Platform/Dispatch/SerialQueue.h"

#include "KXFW/Platform/Dispatch/LoggedTask.h"
#include "KXFW/Platform/Foundation/NSException.h"

#include <condition_variable>
#include <deque>
#include <thread>

/// The thread of a queue's async tasks and what it waits for; outlives a queue that one of its own tasks destroys.
struct kx::SerialQueue::Worker {
    Worker(std::string name, std::shared_ptr<PriorityMutex> queueLock)
        : label(std::move(name)), taskLock(std::move(queueLock))
    {
    }

    void add(std::function<void()> task)
    {
        {
            const std::lock_guard guard(lock);
            tasks.push_back(std::move(task));
        }
        wake.notify_one();
    }

    void close()
    {
        {
            const std::lock_guard guard(lock);
            closing = true;
        }
        wake.notify_one();
    }

    /// The next task, or an empty one when the queue has closed and nothing is left.
    std::function<void()> next()
    {
        std::unique_lock guard(lock);
        wake.wait(guard, [this] { return closing || !tasks.empty(); });
        if (tasks.empty())
            return {};
        std::function<void()> task = std::move(tasks.front());
        tasks.pop_front();
        return task;
    }

    void run()
    {
        nameThisThread(label);
        // Each task is destroyed after the lock is let go: what it holds may enter the queue on its way out.
        while (const std::function<void()> task = next()) {
            const std::lock_guard guard(*taskLock);
            runLogged(label, task);
        }
    }

    const std::string label;
    const std::shared_ptr<PriorityMutex> taskLock;
    std::mutex lock;
    std::condition_variable wake;
    std::deque<std::function<void()>> tasks;
    bool closing = false;
    std::thread thread;
};

namespace
{

/// True when the calling thread holds `lock`; otherwise waits until nobody does.
bool holds(kx::PriorityMutex &lock)
{
    try {
        const std::lock_guard guard(lock);
        return false;
    } catch (const NSException &) {
        return true;
    }
}

} // namespace

kx::SerialQueue::SerialQueue(std::string label) : label_(std::move(label)), lock_(std::make_shared<PriorityMutex>()) {}

kx::SerialQueue::~SerialQueue()
{
    if (!worker_)
        return;
    const bool isWorker = worker_->thread.get_id() == std::this_thread::get_id();
    const bool isInside = isWorker || holds(*lock_);
    worker_->close();
    if (isInside)
        worker_->thread.detach();
    else
        worker_->thread.join();
}

void kx::SerialQueue::async(std::function<void()> task)
{
    if (!task)
        return;
    const std::lock_guard guard(workerLock_);
    if (!worker_) {
        auto worker = std::make_shared<Worker>(label_, lock_);
        worker->thread = std::thread([worker] { worker->run(); });
        worker_ = std::move(worker);
    }
    worker_->add(std::move(task));
}
