#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"
#include "KXFW/Platform/AudioFiles/DiskFile.h"

#include <filesystem>
#include <memory>

namespace kx
{

/// The bytes of a regular file on the disk, read at any offset without a file position. The size is that at opening;
/// a file that shrinks later just ends early. Each object on one thread at a time.
///
/// Once a read was given up, all that follow under the same deadline fail with it, so that no codec goes on behind a
/// gap; under the next one the disk is asked again.
class FileBytes final : public ByteSource
{
public:
    /// As DiskFile opens it; kAudioFileNotRespondingError when it was given up. [any] [blocks]
    static StatusOr<std::shared_ptr<FileBytes>> open(const std::filesystem::path &path);

    explicit FileBytes(std::shared_ptr<DiskFile> file) noexcept : file_(std::move(file)) {}

    [[nodiscard]] int64_t size() const noexcept override { return file_->size(); }
    int64_t readAt(int64_t offset, void *bytes, int64_t count) noexcept override;
    [[nodiscard]] OSStatus error() const noexcept override;
    [[nodiscard]] bool isHeldUp() const noexcept { return file_->isHeldUp(); } ///< [any] [render]

private:
    [[nodiscard]] bool wasGivenUpNow() const noexcept;

    std::shared_ptr<DiskFile> file_;
    OSStatus error_ = noErr;    ///< of the disk itself
    uint64_t givenUpUnder_ = 0; ///< number of the deadline
};

} // namespace kx
