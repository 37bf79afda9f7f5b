#include "Apps/kxtool/Waiter.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace kxtool
{

namespace
{

int checked(int result, const char *what)
{
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), what);
    return result;
}

int openSignals()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        struct sigaction action = {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) // as under nohup
            sigaddset(&set, number);
    }
    checked(-pthread_sigmask(SIG_BLOCK, &set, nullptr), "pthread_sigmask");
    return checked(signalfd(-1, &set, SFD_CLOEXEC), "signalfd");
}

} // namespace

Waiter::Waiter() : signals_(openSignals()), finished_(checked(eventfd(0, EFD_CLOEXEC), "eventfd")) {}

Waiter::~Waiter()
{
    close(signals_);
    close(finished_);
}

Waiter::Event Waiter::wait(std::chrono::milliseconds timeout)
{
    std::array<pollfd, 2> sources{{{signals_, POLLIN, 0}, {finished_, POLLIN, 0}}};
    if (poll(sources.data(), sources.size(), static_cast<int>(timeout.count())) <= 0)
        return Event::Timeout;
    if ((sources[0].revents & POLLIN) == 0)
        return Event::Finished;
    signalfd_siginfo info{};
    return read(signals_, &info, sizeof info) == sizeof info ? Event::Signal : Event::Timeout;
}

void Waiter::finish() noexcept
{
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(finished_, &one, sizeof one);
}

} // namespace kxtool
