#include "Apps/kxplayer/QuitSignals.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kxplayer
{

namespace
{

constexpr int kSignals[] = {SIGTERM, SIGINT, SIGHUP};
int ends[2] = {-1, -1}; ///< of the pipe that wakes the main thread; the handler knows nothing else

void wake(int /*signal*/)
{
    const int before = errno;
    const char byte = 0;
    [[maybe_unused]] const auto written = write(ends[1], &byte, 1); // a full pipe wakes as well
    errno = before;
}

} // namespace

QuitSignals::QuitSignals(std::function<void()> quit) : quit_(std::move(quit))
{
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe2");
    auto *notifier = new QSocketNotifier(ends[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this, notifier] {
        notifier->setEnabled(false);
        quit_();
    });
    struct sigaction action {
    };
    action.sa_handler = wake;
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    for (const int number : kSignals) {
        struct sigaction before {
        };
        sigaction(number, nullptr, &before);
        if (before.sa_handler != SIG_IGN) // as under nohup
            sigaction(number, &action, nullptr);
    }
}

QuitSignals::~QuitSignals()
{
    for (const int number : kSignals)
        std::signal(number, SIG_DFL);
    for (const int end : ends)
        close(end);
}

} // namespace kxplayer
