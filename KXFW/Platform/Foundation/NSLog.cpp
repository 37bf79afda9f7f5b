#include "KXFW/Platform/Foundation/NSLog.h"

#include "KXFW/Platform/Foundation/LogBacklog.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <pthread.h>
#include <unistd.h>

namespace
{

std::string lineHead()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char time[64];
    const std::size_t length = strftime(time, sizeof time, "%Y-%m-%d %H:%M:%S.", &local);
    const std::string milliseconds = std::to_string(1000 + now.tv_nsec / 1000000).substr(1);
    std::string head(time, length);
    head.append(milliseconds).append(" ").append(program_invocation_short_name);
    return head.append("[").append(std::to_string(getpid())).append("] ");
}

/// The lines of all threads, one after the other. No holder of the lock ever waits for a reader.
class Log
{
public:
    static Log &shared()
    {
        static Log *const log = new Log; // never destroyed: threads may log until the process ends
        return *log;
    }

    void write(std::string line)
    {
        const std::lock_guard guard(lock_);
        kx::LogOutput output;
        if (backlog_ && !backlog_->isFor(output.file()))
            backlog_.reset();
        if (backlog_ && backlog_->add(line))
            return;
        std::string_view rest(line);
        output.write(rest);
        if (rest.empty())
            return backlog_.reset();
        if (!backlog_)
            backlog_ = std::make_shared<kx::LogBacklog>(output.file());
        backlog_->start(std::move(output), std::string(rest));
    }

private:
    Log()
    {
        // A fork finds the lock open, and no line half handed over.
        pthread_atfork([] { shared().lock_.lock(); }, [] { shared().lock_.unlock(); }, [] { shared().lock_.unlock(); });
        std::atexit([] { shared().drain(); });
    }

    void drain()
    {
        std::unique_lock guard(lock_);
        const auto backlog = backlog_;
        guard.unlock();
        if (backlog && backlog->isOfThisProcess())
            backlog->drain();
    }

    std::mutex lock_;
    std::shared_ptr<kx::LogBacklog> backlog_;
};

} // namespace

std::string kx::logLine(std::string_view message)
{
    return lineHead().append(message).append("\n");
}

void kx::writeLogLine(std::string_view message)
{
    const int callersError = errno;
    Log::shared().write(logLine(message));
    errno = callersError;
}
