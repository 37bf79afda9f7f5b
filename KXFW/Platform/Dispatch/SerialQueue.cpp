#include "KXFW/Platform/Dispatch/SerialQueue.h"

#include "KXFW/Platform/Dispatch/LoggedTask.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Foundation/PriorityMutex.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

/// Held while a task runs; shared with the worker and the turns.
struct kx::SerialQueue::Lock {
    /// True when the calling thread holds it; otherwise waits until nobody does.
    [[nodiscard]] bool isHeldHere()
    {
        try {
            const std::lock_guard guard(mutex);
            return false;
        } catch (const NSException &) {
            return true;
        }
    }

    PriorityMutex mutex;
};

struct kx::SerialQueue::Impl {
    struct Worker;
    explicit Impl(std::string name) : label(std::move(name)) {}

    const std::string label;
    const std::shared_ptr<Lock> lock = std::make_shared<Lock>();
    std::mutex workerLock; ///< guards the making of the worker
    std::shared_ptr<Worker> worker;
};

/// The thread of a queue's async tasks and what it waits for; outlives a queue that one of its own tasks destroys.
struct kx::SerialQueue::Impl::Worker {
    Worker(std::string name, std::shared_ptr<Lock> queueLock) : label(std::move(name)), taskLock(std::move(queueLock))
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
            const std::lock_guard guard(taskLock->mutex);
            runLogged(label, task);
        }
    }

    const std::string label;
    const std::shared_ptr<Lock> taskLock;
    std::mutex lock;
    std::condition_variable wake;
    std::deque<std::function<void()>> tasks;
    bool closing = false;
    std::thread thread;
};

kx::SerialQueue::Turn::Turn(const SerialQueue &queue) : lock_(queue.impl_->lock)
{
    lock_->mutex.lock();
}

kx::SerialQueue::Turn::~Turn()
{
    lock_->mutex.unlock();
}

kx::SerialQueue::KeptTurn::KeptTurn(const SerialQueue &queue) : lock_(*queue.impl_->lock)
{
    lock_.mutex.lock();
}

kx::SerialQueue::KeptTurn::~KeptTurn()
{
    lock_.mutex.unlock();
}

kx::SerialQueue::SerialQueue(std::string label) : impl_(std::make_unique<Impl>(std::move(label))) {}

kx::SerialQueue::~SerialQueue()
{
    const std::shared_ptr<Impl::Worker> &worker = impl_->worker;
    if (!worker)
        return;
    const bool isWorker = worker->thread.get_id() == std::this_thread::get_id();
    const bool isInside = isWorker || impl_->lock->isHeldHere();
    worker->close();
    if (isInside)
        worker->thread.detach();
    else
        worker->thread.join();
}

const std::string &kx::SerialQueue::label() const noexcept
{
    return impl_->label;
}

void kx::SerialQueue::async(std::function<void()> task)
{
    if (!task)
        return;
    const std::lock_guard guard(impl_->workerLock);
    if (!impl_->worker) {
        auto worker = std::make_shared<Impl::Worker>(impl_->label, impl_->lock);
        worker->thread = std::thread([worker] { worker->run(); });
        impl_->worker = std::move(worker);
    }
    impl_->worker->add(std::move(task));
}
