#include "KXFW/Platform/Dispatch/GlobalQueue.h"

#include "KXFW/Platform/Dispatch/LoggedTask.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace
{

constexpr std::size_t kMostThreads = 64;      ///< tasks that block one another beyond this number wait
constexpr std::size_t kKeptIdle = 4;          ///< idle threads that stay for good
constexpr std::chrono::seconds kIdleTime{10}; ///< after which the other idle threads end
constexpr int kBackgroundNice = 10;

} // namespace

struct kx::GlobalQueue::Pool : std::enable_shared_from_this<Pool> {
    explicit Pool(QualityOfService service) : quality(service) {}

    void add(std::function<void()> task)
    {
        const std::lock_guard guard(lock);
        tasks.push_back(std::move(task));
        if (tasks.size() > idle && threads < kMostThreads)
            addThread();
        else
            wake.notify_one();
    }

    /// With the lock held and the new task at the back.
    void addThread()
    {
        try {
            std::thread([pool = shared_from_this()] { pool->run(); }).detach();
            ++threads;
        } catch (...) {
            if (threads > 0)
                return; // a busy thread takes the task when it is done
            tasks.pop_back();
            throw;
        }
    }

    /// The next task, or an empty one when the thread was idle for so long that it may end.
    std::function<void()> next()
    {
        std::unique_lock guard(lock);
        ++idle;
        while (!wake.wait_for(guard, kIdleTime, [this] { return !tasks.empty(); })) {
            if (idle <= kKeptIdle)
                continue;
            --idle;
            --threads;
            return {};
        }
        --idle;
        std::function<void()> task = std::move(tasks.front());
        tasks.pop_front();
        return task;
    }

    void run()
    {
        if (quality == QualityOfService::Background)
            stepBack();
        const char *const name = quality == QualityOfService::Background ? "kx.background" : "kx.default";
        nameThisThread(name);
        while (const std::function<void()> task = next())
            runLogged(name, task);
    }

    /// The calling thread gives way to the others. A refusal costs nothing but the courtesy.
    static void stepBack()
    {
        const auto thread = static_cast<id_t>(gettid());
        setpriority(PRIO_PROCESS, thread, std::max(getpriority(PRIO_PROCESS, thread), kBackgroundNice));
    }

    const QualityOfService quality;
    std::mutex lock;
    std::condition_variable wake;
    std::deque<std::function<void()>> tasks;
    std::size_t threads = 0;
    std::size_t idle = 0;
};

kx::GlobalQueue &kx::GlobalQueue::withQuality(QualityOfService quality)
{
    // Never destroyed: their threads run until the process ends.
    static GlobalQueue *const ordinary = new GlobalQueue(QualityOfService::Default);
    static GlobalQueue *const background = new GlobalQueue(QualityOfService::Background);
    return quality == QualityOfService::Background ? *background : *ordinary;
}

kx::GlobalQueue::GlobalQueue(QualityOfService quality) : pool_(std::make_shared<Pool>(quality)) {}

void kx::GlobalQueue::async(std::function<void()> task)
{
    if (task)
        pool_->add(std::move(task));
}
