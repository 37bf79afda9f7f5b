#include "KXFW/Platform/AudioFiles/Codecs/VirtualFile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace kx
{

SNDFILE *VirtualFile::open(SF_INFO &info) noexcept
{
    SF_VIRTUAL_IO callbacks{length, seek, read, write, tell};
    position_ = 0;
    info = {};
    return sf_open_virtual(&callbacks, SFM_READ, &info, this);
}

sf_count_t VirtualFile::length(void *self) noexcept
{
    return static_cast<VirtualFile *>(self)->visibleBytes_;
}

sf_count_t VirtualFile::seek(sf_count_t offset, int whence, void *self) noexcept
{
    auto &file = *static_cast<VirtualFile *>(self);
    const int64_t base = whence == SEEK_CUR ? file.position_ : whence == SEEK_END ? file.visibleBytes_ : 0;
    int64_t target = 0;
    if (__builtin_add_overflow(base, offset, &target) || target < 0)
        return -1;
    return file.position_ = target;
}

sf_count_t VirtualFile::read(void *bytes, sf_count_t count, void *self) noexcept
{
    auto &file = *static_cast<VirtualFile *>(self);
    const int64_t wanted = std::min<int64_t>(count, file.visibleBytes_ - file.position_);
    if (wanted <= 0)
        return 0;
    const int64_t got = file.source_->readAt(file.position_, bytes, wanted);
    file.isCutShort_ = file.isCutShort_ || (got >= 0 && got < wanted);
    const int64_t from = std::max(file.zeroed_.begin, file.position_);
    const int64_t to = std::min(file.zeroed_.end, file.position_ + got);
    if (from < to)
        std::memset(static_cast<char *>(bytes) + (from - file.position_), 0, static_cast<std::size_t>(to - from));
    file.position_ += std::max<int64_t>(got, 0);
    return std::max<int64_t>(got, 0);
}

sf_count_t VirtualFile::tell(void *self) noexcept
{
    return static_cast<VirtualFile *>(self)->position_;
}

} // namespace kx
