#include "KXFW/Platform/Dispatch/TimerSource.h"

#include "KXFW/Platform/Dispatch/GlobalQueue.h"
#include "KXFW/Platform/Dispatch/LoggedTask.h"

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

using Clock = std::chrono::steady_clock;
using std::chrono::nanoseconds;

namespace
{

constexpr const char *kTimerLabel = "kx.timer";
constexpr nanoseconds kLongest = std::chrono::hours(24) * 36525; ///< 100 years, far from the end of the clock
constexpr nanoseconds kIntervalForNone = std::chrono::milliseconds(1);

} // namespace

/// One timer. Everything but `handler` is guarded by the timer thread's lock; `handler` belongs to the run under way,
/// and to that lock while there is none.
struct kx::TimerSource::Impl {
    class Thread;

    std::function<void()> handler;
    Clock::time_point due;
    nanoseconds interval{0};
    bool isScheduled = false;
    bool isResumed = false;
    bool isCancelled = false;
    bool isPending = false;     ///< handed to the global queue, not begun
    bool isRescheduled = false; ///< while pending or running: `due` is the new first firing
    bool isRunning = false;
    std::thread::id runner;
    std::condition_variable finished;
};

/// The thread that waits for the due times of all timers. A timer that is pending or running waits for no time: it is
/// armed again when its run ends, at the first tick of its grid that is still to come.
class kx::TimerSource::Impl::Thread
{
public:
    using StatePointer = std::shared_ptr<Impl>;

    static Thread &shared()
    {
        static Thread *const thread = new Thread; // never destroyed: runs until the process ends
        return *thread;
    }

    void schedule(const StatePointer &state, nanoseconds delay, nanoseconds period)
    {
        const std::lock_guard guard(lock_);
        disarm(*state);
        state->due = Clock::now() + std::clamp(delay, nanoseconds(0), kLongest);
        state->interval = period > nanoseconds(0) ? std::min(period, kLongest) : kIntervalForNone;
        state->isScheduled = true;
        state->isRescheduled = state->isPending || state->isRunning;
        arm(state);
    }

    void resume(const StatePointer &state)
    {
        const std::lock_guard guard(lock_);
        state->isResumed = true;
        arm(state);
    }

    void cancel(const StatePointer &state)
    {
        std::function<void()> gone; // destroyed without the lock: what it holds may come back here
        std::unique_lock guard(lock_);
        state->isCancelled = true;
        disarm(*state);
        if (state->isRunning && state->runner == std::this_thread::get_id())
            return; // the run lets the handler go when it ends
        state->finished.wait(guard, [&] { return !state->isRunning; });
        gone = std::exchange(state->handler, nullptr);
    }

private:
    using Key = std::pair<Clock::time_point, Impl *>;

    void arm(const StatePointer &state)
    {
        if (!state->isScheduled || !state->isResumed || state->isCancelled || state->isPending || state->isRunning)
            return;
        if (!isStarted_)
            std::thread([this] { wait(); }).detach();
        isStarted_ = true;
        const auto position = armed_.emplace(Key(state->due, state.get()), state).first;
        if (position == armed_.begin())
            wake_.notify_one();
    }

    void disarm(Impl &state) { armed_.erase(Key(state.due, &state)); }

    void wait()
    {
        kx::nameThisThread(kTimerLabel);
        std::unique_lock guard(lock_);
        for (;;) {
            if (armed_.empty())
                wake_.wait(guard);
            else if (const Clock::time_point next = armed_.begin()->first.first; Clock::now() < next)
                wake_.wait_until(guard, next);
            else
                fire(armed_.extract(armed_.begin()).mapped());
        }
    }

    void fire(const StatePointer &state) noexcept
    {
        state->isPending = true;
        kx::runLogged(kTimerLabel, [&] {
            try {
                kx::GlobalQueue::withQuality(kx::QualityOfService::Default).async([this, state] { run(state); });
            } catch (...) {
                state->isPending = false;
                armNext(state);
                throw;
            }
        });
    }

    void run(const StatePointer &state)
    {
        std::unique_lock guard(lock_);
        state->isPending = false;
        if (state->isCancelled)
            return;
        state->isRunning = true;
        state->runner = std::this_thread::get_id();
        guard.unlock();
        kx::runLogged(kTimerLabel, state->handler);
        guard.lock();
        if (state->isCancelled) { // gone before a waiting cancel returns
            std::function<void()> gone = std::exchange(state->handler, nullptr);
            guard.unlock();
            gone = nullptr;
            guard.lock();
        }
        state->isRunning = false;
        state->runner = {};
        state->finished.notify_all();
        armNext(state);
    }

    void armNext(const StatePointer &state)
    {
        const nanoseconds late = Clock::now() - state->due;
        if (!state->isRescheduled && late >= nanoseconds(0))
            state->due += (late / state->interval + 1) * state->interval;
        state->isRescheduled = false;
        arm(state);
    }

    std::mutex lock_;
    std::condition_variable wake_;
    std::map<Key, StatePointer> armed_;
    bool isStarted_ = false;
};

kx::TimerSource::TimerSource(std::function<void()> handler) : impl_(std::make_shared<Impl>())
{
    impl_->handler = std::move(handler);
}

kx::TimerSource::~TimerSource()
{
    cancel();
}

void kx::TimerSource::schedule(nanoseconds delay, nanoseconds interval, nanoseconds)
{
    Impl::Thread::shared().schedule(impl_, delay, interval);
}

void kx::TimerSource::resume()
{
    Impl::Thread::shared().resume(impl_);
}

void kx::TimerSource::cancel()
{
    Impl::Thread::shared().cancel(impl_);
}
