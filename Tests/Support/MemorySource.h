/// @file
/// A file that lives in memory, with faults on demand, and short ways to read a decoder.
#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"

#include <cstdint>
#include <stop_token>
#include <vector>

namespace kx::test
{

class MemorySource final : public ByteSource
{
public:
    explicit MemorySource(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)), size_(length()) {}

    [[nodiscard]] int64_t size() const noexcept override { return size_; }
    int64_t readAt(int64_t offset, void *bytes, int64_t count) noexcept override;
    [[nodiscard]] OSStatus error() const noexcept override { return error_; }

    /// From now on a read that touches bytes from `offset` on fails with `status`.
    void failFrom(int64_t offset, OSStatus status)
    {
        failOffset_ = offset;
        failStatus_ = status;
    }
    /// The file gets shorter under its reader; size() stays.
    void truncate(int64_t size) { bytes_.resize(static_cast<std::size_t>(size)); }
    [[nodiscard]] int64_t bytesRead() const noexcept { return bytesRead_; }

    std::stop_source stop;
    int reads = 0;
    int stopAt = 0; ///< the read at which `stop` is requested

private:
    [[nodiscard]] int64_t length() const noexcept { return static_cast<int64_t>(bytes_.size()); }

    std::vector<uint8_t> bytes_;
    int64_t size_;
    int64_t failOffset_ = INT64_MAX;
    OSStatus failStatus_ = noErr;
    OSStatus error_ = noErr;
    int64_t bytesRead_ = 0;
};

/// Up to `frames` frames in reads of `block` frames, as floats whatever the kind; fewer at the end or after a failure,
/// whose status goes to `status` if that is given.
std::vector<float> readFrames(Decoder &decoder, int64_t frames, uint32_t block, OSStatus *status = nullptr);
/// All frames from the present position on.
std::vector<float> readToEnd(Decoder &decoder, uint32_t block = 4096, OSStatus *status = nullptr);

} // namespace kx::test
