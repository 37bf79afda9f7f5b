#pragma once

#include "KXFW/Platform/AudioFiles/DiskDeadline.h"
#include "KXFW/Platform/Dispatch/SerialQueue.h"
#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/FileDescriptor.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace kx
{

/// A regular file on the disk, open for reading, that keeps the deadline of the calling thread. Where there is one, a
/// thread of the file's own reads, in blocks; what was given up goes on there, and until it is over, further reads with
/// a deadline are given up at once. Without one the caller reads. One caller at a time.
class DiskFile : public std::enable_shared_from_this<DiskFile>
{
public:
    static constexpr int64_t kGivenUp = -2;

    DiskFile();

    /// Never blocks on a pipe or a device: anything but a regular file gives kAudioFileUnsupportedFileTypeError, an
    /// empty one kAudioFileInvalidFileError. To be called once. [any] [blocks]
    OSStatus open(const std::filesystem::path &path);
    [[nodiscard]] int64_t size() const noexcept { return size_; } ///< At opening. [any]
    /// Up to `count` bytes from `offset` on: the number read, 0 at the end, -1 after an I/O error, or kGivenUp.
    /// [blocks]
    int64_t read(int64_t offset, void *bytes, int64_t count) noexcept;
    /// Whether something that was given up is still under way. [any] [render]
    [[nodiscard]] bool isHeldUp() const noexcept { return isHeldUp_; }

private:
    OSStatus openNow(const std::filesystem::path &path);
    int64_t readNow(int64_t offset, void *bytes, int64_t count) noexcept;
    int64_t readInBlocks(int64_t offset, std::byte *bytes, int64_t count);
    void fill(int64_t offset, int64_t wanted) noexcept;
    [[nodiscard]] int64_t held(int64_t offset) const noexcept;
    bool perform(const std::function<void()> &work);
    void run(const std::function<void()> &work);

    FileDescriptor file_;
    int64_t size_ = 0;
    OSStatus openStatus_ = noErr;
    std::unique_ptr<std::byte[]> block_; ///< this and what follows are the thread's while it is busy, else the caller's
    int64_t blockOffset_ = 0;
    int64_t blockCount_ = 0; ///< or -1 after an I/O error

    std::mutex lock_; ///< guards what follows
    std::condition_variable over_;
    bool isBusy_ = false;
    std::optional<DiskDeadline::Clock::time_point> begun_;
    std::atomic<bool> isHeldUp_{false};
    SerialQueue queue_; ///< its tasks keep the file, so that the last of them ends it
};

} // namespace kx
