#pragma once

#include "KXFW/Audio/KXAFilePlayer.h"
#include "KXFW/Audio/Player/RenderSource.h"
#include "KXFW/Platform/AudioFiles/ExtendedAudioFile.h"
#include "KXFW/Platform/Foundation/BufferList.h"

#include <filesystem>
#include <optional>

namespace kx
{

/// One export under way: pulls the last unit before the output unit in slices of 512 frames and writes them to an AIFF
/// file in the standard description. Whole or not at all: an export that does not come to its end leaves nothing.
/// Used by one thread.
class OfflineExport
{
public:
    /// Of `exactRange` alone, or of the record's range. Borrows the player's parts and the block, which may be empty.
    /// [any]
    OfflineExport(PlayerFields &fields, PlaybackPosition &position, RenderSource &source,
                  const std::optional<ByteRange> &exactRange,
                  const KXAFilePlayer::ProgressAndCancelBlock &progressAndCancelBlock);

    /// Exports from the player's position to its range's end, in its exact length: the range's frames through each
    /// change of rate, rounded up, and then, unless exact frames are wanted, up to whole slices. The player's loop flag
    /// is off meanwhile. Throws what failed: a status assertion, what the render path kept, or what the block threw.
    /// Data that cannot be read, or that ends before its announced length, fails. [any] [blocks]
    void writeTo(const std::filesystem::path &url);

private:
    [[nodiscard]] AudioStreamBasicDescription postUnitFormat() const;
    void refuseTooLong() const;
    void refuseHalf(int64_t silentFrames) const;
    void writeSlices(ExtAudioFileRef file, const AudioStreamBasicDescription &format);
    [[nodiscard]] int64_t framesIn(int64_t bytes) const;
    [[nodiscard]] int64_t dataSize() const;
    [[nodiscard]] ByteRange range() const;
    [[nodiscard]] int64_t endFrame() const;
    [[nodiscard]] int64_t entered() const;
    [[nodiscard]] int64_t position() const;
    [[nodiscard]] bool hasMore() const;
    [[nodiscard]] int64_t playedUpTo() const;
    [[nodiscard]] bool cancelled() const;
    [[nodiscard]] uint32_t nextSlice() const;
    bool writeSlice(ExtAudioFileRef file, BufferList &buffers, AudioTimeStamp &time, uint32_t frames);
    [[nodiscard]] double drawRate() const;

    PlayerFields &fields_;
    PlaybackPosition &position_;
    RenderSource &source_;
    const std::optional<ByteRange> exactRange_;
    const KXAFilePlayer::ProgressAndCancelBlock &progressAndCancelBlock_;
    // Stay as they are while the player exports.
    KXAPlayerParam &param_;
    const std::shared_ptr<KXAFiledAudioData2> data_;
    const int64_t bytesPerFrame_; ///< of the input format
    const bool mayHold_;          ///< the chain keeps frames back

    int64_t firstFrame_ = 0;    ///< the position at the beginning
    int64_t enteredBefore_ = 0; ///< frames that had gone into the chain then
};

} // namespace kx
