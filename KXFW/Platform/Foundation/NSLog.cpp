#include "KXFW/Platform/Foundation/NSLog.h"

#include <cerrno>
#include <ctime>
#include <mutex>
#include <poll.h>
#include <unistd.h>

namespace
{

constexpr int kStalledMilliseconds = 1000; ///< how long a reader of the standard error may leave its pipe full

/// `2026-11-24 14:55:03.123 kxtool[4711] `
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

bool becomesWritable(int descriptor) noexcept
{
    pollfd entry{descriptor, POLLOUT, 0};
    return poll(&entry, 1, kStalledMilliseconds) > 0 && (entry.revents & POLLOUT);
}

void writeAll(int descriptor, std::string_view bytes) noexcept
{
    while (!bytes.empty()) {
        const ssize_t written = write(descriptor, bytes.data(), bytes.size());
        if (written > 0)
            bytes.remove_prefix(static_cast<std::size_t>(written));
        else if (written < 0 && errno == EINTR)
            continue;
        else if (written < 0 && errno == EAGAIN && becomesWritable(descriptor))
            continue;
        else
            return; // nobody reads the log: the line is lost, the program goes on
    }
}

std::mutex &lineLock()
{
    static std::mutex *const lock = new std::mutex; // never destroyed: threads may log until exit
    return *lock;
}

} // namespace

void kx::writeLogLine(std::string_view message)
{
    std::string line = lineHead();
    line.append(message);
    line += '\n';
    // A pipe takes no more than 4096 bytes in one piece; the lock keeps longer lines whole among our own threads.
    const std::lock_guard guard(lineLock());
    const int callersError = errno;
    writeAll(STDERR_FILENO, line);
    errno = callersError;
}
