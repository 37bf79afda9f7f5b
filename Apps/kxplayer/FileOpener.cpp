#include "Apps/kxplayer/FileOpener.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kxplayer
{

namespace
{

/// Why a file that is no sound to the player cannot be read: what the system has against it, or what is in it.
std::string reasonOf(const std::filesystem::path &file)
{
    const int opened = ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (opened < 0)
        return std::generic_category().message(errno);
    ::close(opened);
    return std::filesystem::is_directory(file) ? "it is a folder" : "it is damaged, or of a kind that cannot be played";
}

FileOpener::Opened openedFile(const std::filesystem::path &file, const std::stop_token &stop)
{
    FileOpener::Opened opened{file, nullptr, {}};
    try {
        opened.source = KXAFilePlayerDataSource::dataSourceWithContentsOfURL(file, stop);
        if (!opened.source && !stop.stop_requested())
            opened.reason = reasonOf(file);
    } catch (const std::exception &exception) { // no memory
        opened.reason = exception.what();
    }
    return opened;
}

} // namespace

void FileOpener::open(const std::filesystem::path &file)
{
    leave();
    auto wanted = std::make_shared<FileOpener *>(this);
    task_.start([file, weak = std::weak_ptr(wanted)](const std::stop_token &stop) {
        const Opened opened = openedFile(file, stop);
        if (stop.stop_requested())
            return;
        kx::MainQueue::async([weak, opened] {
            if (const auto opener = weak.lock())
                (*opener)->hasOpened(opened);
        });
    });
    wanted_ = std::move(wanted);
}

void FileOpener::leave()
{
    wanted_ = nullptr;
    task_.leave();
}

void FileOpener::hasOpened(const Opened &opened)
{
    wanted_ = nullptr;
    take_(opened);
}

} // namespace kxplayer
