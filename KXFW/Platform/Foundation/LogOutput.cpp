#include "KXFW/Platform/Foundation/LogOutput.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace
{

/// Writes what a pipe with room takes at once: only another process that writes in between could make it wait.
ssize_t writeToSharedPipe(int descriptor, std::string_view bytes) noexcept
{
    pollfd entry{descriptor, POLLOUT, 0};
    if (poll(&entry, 1, 0) == 1 && (entry.revents & POLLERR) == 0)
        return write(descriptor, bytes.data(), std::min<std::size_t>(bytes.size(), PIPE_BUF));
    errno = entry.revents & POLLERR ? EPIPE : EAGAIN;
    return -1;
}

} // namespace

kx::LogOutput::LogOutput() noexcept
{
    struct stat status {
    };
    if (fstat(STDERR_FILENO, &status) != 0)
        return;
    file_ = {status.st_dev, status.st_ino};
    descriptor_ = STDERR_FILENO;
    isRead_ = true;
    if (S_ISSOCK(status.st_mode))
        kind_ = Kind::Socket;
    if (!S_ISFIFO(status.st_mode) && !isatty(STDERR_FILENO))
        return;
    // O_NONBLOCK belongs to the open file, which other processes share; one opened anew has flags of its own.
    const int own = open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    isOwned_ = own >= 0;
    kind_ = isOwned_ ? Kind::Pipe : Kind::SharedPipe;
    descriptor_ = isOwned_ ? own : STDERR_FILENO;
}

kx::LogOutput::LogOutput(LogOutput &&other) noexcept
    : kind_(other.kind_), file_(other.file_), descriptor_(other.descriptor_),
      isOwned_(std::exchange(other.isOwned_, false)), isRead_(std::exchange(other.isRead_, false))
{
}

kx::LogOutput::~LogOutput()
{
    if (isOwned_)
        close(descriptor_);
}

ssize_t kx::LogOutput::writeSome(std::string_view bytes) const noexcept
{
    switch (kind_) {
    case Kind::Socket:
        return send(descriptor_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    case Kind::SharedPipe:
        return writeToSharedPipe(descriptor_, bytes);
    default:
        return ::write(descriptor_, bytes.data(), bytes.size());
    }
}

void kx::LogOutput::write(std::string_view &bytes) noexcept
{
    while (isRead_ && !bytes.empty()) {
        const ssize_t written = writeSome(bytes);
        if (written > 0)
            bytes.remove_prefix(static_cast<std::size_t>(written));
        else if (written < 0 && errno == EAGAIN)
            return;
        else if (written == 0 || errno != EINTR)
            isRead_ = false;
    }
    bytes = {};
}

bool kx::LogOutput::hold() noexcept
{
    if (isOwned_)
        return true;
    const int own = fcntl(descriptor_, F_DUPFD_CLOEXEC, 0);
    isOwned_ = own >= 0;
    if (isOwned_)
        descriptor_ = own;
    return isOwned_;
}

void kx::LogOutput::writeAll(std::string_view bytes) noexcept
{
    for (write(bytes); !bytes.empty(); write(bytes)) {
        pollfd entry{descriptor_, POLLOUT, 0};
        poll(&entry, 1, -1);
    }
}
