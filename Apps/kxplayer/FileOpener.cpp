#include "Apps/kxplayer/FileOpener.h"

#include "KXFW/KXFWUI.h"

#include <utility>

namespace kxplayer
{

void FileOpener::open(const std::filesystem::path &file)
{
    leave();
    auto wanted = std::make_shared<FileOpener *>(this);
    task_.start([file, weak = std::weak_ptr(wanted)](const std::stop_token &stop) {
        const auto opened = std::make_shared<const kx::Result<kx::File>>(kx::File::open(file, stop));
        if (stop.stop_requested())
            return;
        kx::MainQueue::async([weak, opened] {
            if (const auto opener = weak.lock())
                (*opener)->hasOpened(*opened);
        });
    });
    wanted_ = std::move(wanted);
}

void FileOpener::leave()
{
    wanted_ = nullptr;
    task_.leave();
}

void FileOpener::hasOpened(const kx::Result<kx::File> &opened)
{
    wanted_ = nullptr;
    take_(opened);
}

} // namespace kxplayer
