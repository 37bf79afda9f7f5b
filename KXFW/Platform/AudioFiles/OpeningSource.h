#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"

#include <chrono>
#include <memory>
#include <stop_token>

namespace kx
{

/// The bytes of a file while a codec opens it. What the codec may read and how long it may take grow with the file's
/// length, and any thread can end it: from then on reads fail, and `error` says why. One thread at a time.
class OpeningSource final : public ByteSource
{
public:
    OpeningSource(std::shared_ptr<ByteSource> source, std::stop_token stop);

    [[nodiscard]] int64_t size() const noexcept override { return source_->size(); }
    int64_t readAt(int64_t offset, void *bytes, int64_t count) noexcept override;
    [[nodiscard]] OSStatus error() const noexcept override;

    /// Ends the limits, as the file is open: kAudioFileInvalidFileError if they were passed,
    /// kAudioFileOpeningCancelledError if somebody ended it, else noErr. [any]
    OSStatus finish() noexcept;

private:
    [[nodiscard]] OSStatus limitPassed() const noexcept;

    std::shared_ptr<ByteSource> source_;
    std::stop_token stop_;
    std::chrono::nanoseconds latest_; ///< of the opening thread's processor time
    int64_t bytesLeft_;
    OSStatus failure_ = noErr;
    bool isOpening_ = true;
};

} // namespace kx
