#include "Apps/kxplayer/LatestTask.h"

#include <chrono>
#include <pthread.h>
#include <sched.h>
#include <thread>
#include <utility>

namespace kxplayer
{

namespace
{

constexpr std::chrono::seconds kPatience{1};

} // namespace

LatestTask::~LatestTask()
{
    leave();
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    for (const Thread &thread : threads_)
        thread.ended.wait_until(deadline);
}

void LatestTask::start(Task task)
{
    leave();
    std::stop_source stop;
    std::packaged_task<void()> work([task = std::move(task), token = stop.get_token()] { task(token); });
    auto ended = work.get_future();
    std::thread([name = threadName_, pace = pace_, work = std::move(work)]() mutable {
        pthread_setname_np(pthread_self(), name);
        const sched_param idle{};
        if (pace == Pace::WhenIdle)
            pthread_setschedparam(pthread_self(), SCHED_IDLE, &idle);
        work.make_ready_at_thread_exit(); // by then it holds nothing any more
    }).detach();
    threads_.push_back({std::move(stop), std::move(ended)});
}

void LatestTask::leave()
{
    if (!threads_.empty())
        threads_.back().stop.request_stop();
    std::erase_if(threads_, [](const Thread &thread) {
        return thread.ended.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    });
}

} // namespace kxplayer
