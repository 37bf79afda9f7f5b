#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"

#include <sndfile.h>

#include <memory>

namespace kx
{

/// Shows libsndfile the first `visibleBytes` of a byte source, some of them as zeros, as a file to read. Stays where it
/// is while a handle is open on it.
class VirtualFile
{
public:
    VirtualFile(std::shared_ptr<ByteSource> source, int64_t visibleBytes, ByteRange zeroed) noexcept
        : source_(std::move(source)), visibleBytes_(visibleBytes), zeroed_(zeroed)
    {
    }

    /// Null if libsndfile refuses the content.
    SNDFILE *open(SF_INFO &info) noexcept;

    [[nodiscard]] ByteSource &source() const noexcept { return *source_; }
    [[nodiscard]] int64_t size() const noexcept { return visibleBytes_; }
    [[nodiscard]] int64_t position() const noexcept { return position_; }
    /// Whether the file turned out to be shorter than it was.
    [[nodiscard]] bool isCutShort() const noexcept { return isCutShort_; }

private:
    static sf_count_t length(void *self) noexcept;
    static sf_count_t seek(sf_count_t offset, int whence, void *self) noexcept;
    static sf_count_t read(void *bytes, sf_count_t count, void *self) noexcept;
    static sf_count_t write(const void *, sf_count_t, void *) noexcept { return 0; }
    static sf_count_t tell(void *self) noexcept;

    std::shared_ptr<ByteSource> source_;
    int64_t visibleBytes_;
    ByteRange zeroed_;
    int64_t position_ = 0;
    bool isCutShort_ = false;
};

struct CloseSndfile {
    void operator()(SNDFILE *file) const noexcept { sf_close(file); }
};
using SndfileHandlePointer = std::unique_ptr<SNDFILE, CloseSndfile>;

} // namespace kx
