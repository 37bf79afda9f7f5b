#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"
#include "KXFW/Platform/AudioFiles/FileDescriptor.h"

#include <filesystem>

namespace kx
{

/// The bytes of a regular file on the disk, read at any offset without a file position. The size is that at opening;
/// a file that shrinks later just ends early. Each object on one thread at a time.
class FileBytes final : public ByteSource
{
public:
    /// Never blocks on a pipe or a device: anything but a regular file gives kAudioFileUnsupportedFileTypeError, an
    /// empty one kAudioFileInvalidFileError. [any] [blocks]
    static Result<std::shared_ptr<ByteSource>> open(const std::filesystem::path &path);

    FileBytes(FileDescriptor file, int64_t size) noexcept : file_(std::move(file)), size_(size) {}

    [[nodiscard]] int64_t size() const noexcept override { return size_; }
    int64_t readAt(int64_t offset, void *bytes, int64_t count) noexcept override;
    [[nodiscard]] OSStatus error() const noexcept override { return error_; }

private:
    FileDescriptor file_;
    int64_t size_;
    OSStatus error_ = noErr;
};

} // namespace kx
