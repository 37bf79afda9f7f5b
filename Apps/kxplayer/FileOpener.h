#pragma once

#include "Apps/kxplayer/LatestTask.h"
#include "kx/File.h"

#include <filesystem>
#include <functional>
#include <memory>

namespace kxplayer
{

/// Opens files in the background, one at a time: opening another one leaves the one before. Nothing comes of a file
/// that was left, or once this is gone. For the main thread.
class FileOpener
{
public:
    /// Called on the main thread, later, once for each file that was not left.
    using Take = std::function<void(const kx::Result<kx::File> &opened)>;

    explicit FileOpener(Take take) : take_(std::move(take)) {}

    void open(const std::filesystem::path &file);
    void leave();
    [[nodiscard]] bool isOpening() const noexcept { return wanted_ != nullptr; }

private:
    void hasOpened(const kx::Result<kx::File> &opened);

    Take take_;
    std::shared_ptr<FileOpener *> wanted_; ///< leads from the file that is being opened to here; null without one
    LatestTask task_{"opening"};
};

} // namespace kxplayer
