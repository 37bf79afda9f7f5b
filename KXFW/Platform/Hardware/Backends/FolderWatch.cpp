#include "KXFW/Platform/Hardware/Backends/FolderWatch.h"

#include "KXFW/Platform/Dispatch/LoggedTask.h"

#include <array>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>
#include <utility>

namespace
{

constexpr int kRestMilliseconds = 200; ///< a device's nodes come one by one, and get their rights after that

} // namespace

kx::FolderWatch::FolderWatch(std::vector<std::string> folders, std::function<void()> changed)
    : folders_(std::move(folders)), changed_(std::move(changed)), events_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
      ending_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), thread_([this] { run(); })
{
}

kx::FolderWatch::~FolderWatch()
{
    eventfd_write(ending_, 1);
    thread_.join();
    close(events_);
    close(ending_);
}

/// Again after each change: one that was not there may have come.
void kx::FolderWatch::addFolders() const
{
    for (const std::string &folder : folders_)
        inotify_add_watch(events_, folder.c_str(),
                          IN_CREATE | IN_DELETE | IN_MOVED_TO | IN_MOVED_FROM | IN_ATTRIB | IN_ONLYDIR);
}

bool kx::FolderWatch::waitForRest() const
{
    int patience = -1; // none, until there was a change
    for (;;) {
        std::array<pollfd, 2> descriptors{pollfd{ending_, POLLIN, 0}, pollfd{events_, POLLIN, 0}};
        const int ready = poll(descriptors.data(), descriptors.size(), patience);
        if (descriptors[0].revents != 0)
            return false;
        if (ready == 0)
            return true;
        std::array<char, 4096> ignored; // NOLINT(cppcoreguidelines-pro-type-member-init): read into
        while (read(events_, ignored.data(), ignored.size()) > 0)
            continue;
        patience = kRestMilliseconds;
    }
}

void kx::FolderWatch::run()
{
    nameThisThread("kx.devices");
    addFolders();
    while (waitForRest()) {
        addFolders();
        runLogged("kx.devices", changed_);
    }
}
