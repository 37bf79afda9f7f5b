#include "KXFW/Platform/AudioFiles/FileBytes.h"

namespace kx
{

StatusOr<std::shared_ptr<FileBytes>> FileBytes::open(const std::filesystem::path &path)
{
    auto file = std::make_shared<DiskFile>();
    if (const OSStatus status = file->open(path); status != noErr)
        return status;
    return std::make_shared<FileBytes>(std::move(file));
}

int64_t FileBytes::readAt(int64_t offset, void *bytes, int64_t count) noexcept
{
    if (wasGivenUpNow())
        return -1;
    const int64_t got = file_->read(offset, bytes, count);
    if (got == DiskFile::kGivenUp)
        givenUpUnder_ = DiskDeadline::number();
    else if (got < 0)
        error_ = kAudioFileReadError;
    return got < 0 ? -1 : got;
}

OSStatus FileBytes::error() const noexcept
{
    return wasGivenUpNow() ? kAudioFileNotRespondingError : error_;
}

bool FileBytes::wasGivenUpNow() const noexcept
{
    return givenUpUnder_ != 0 && givenUpUnder_ == DiskDeadline::number();
}

} // namespace kx
