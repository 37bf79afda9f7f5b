#pragma once

#include "KXFW/Platform/AudioFiles/ExtendedAudioFile.h"
#include "KXFW/Platform/AudioFiles/FrameMath.h"
#include "KXFW/Platform/AudioFiles/Planes.h"
#include "KXFW/Platform/Conversion/ChannelMix.h"
#include "KXFW/Platform/Conversion/RateConverter.h"
#include "KXFW/Platform/Foundation/BufferList.h"
#include "KXFW/Platform/Foundation/StagedFile.h"

#include <memory>
#include <optional>

namespace kx
{

/// A file being written: client frames are converted straight into a batch of about 1 MiB, which goes to the disk when
/// it is full. `close` completes it; destroyed before, it leaves nothing. A failed write fails everything after it. One
/// thread at a time.
class FileWriter
{
public:
    /// `format` has been checked for `type`. [any] [blocks]
    static StatusOr<std::unique_ptr<FileWriter>> create(const std::filesystem::path &path, AudioFileTypeID type,
                                                        const AudioStreamBasicDescription &format, Existing existing);

    [[nodiscard]] const AudioStreamBasicDescription &format() const noexcept { return format_; } ///< [any]
    [[nodiscard]] const AudioStreamBasicDescription &client() const noexcept { return client_; } ///< [any]
    /// File frames that the client frames so far make. [any]
    [[nodiscard]] int64_t frames() const noexcept { return math_.outFloor(clientFrames_); }

    /// `client` has been checked. Not after the first write. [any]
    OSStatus setClient(const AudioStreamBasicDescription &client);

    /// Appends `frames` frames of `in`, whose buffers have been checked. [any] [blocks]
    OSStatus write(uint32_t frames, const AudioBufferList &in);

    /// Completes the file and puts it in its place. [any] [blocks]
    OSStatus close();

private:
    FileWriter(std::unique_ptr<StagedFile> file, AudioFileTypeID type, const AudioStreamBasicDescription &format);
    OSStatus begin();
    enum class Path { Copy, Swap16, Planar, Convert };
    [[nodiscard]] uint32_t commonChannels() const noexcept;
    [[nodiscard]] Path pathFor(const AudioStreamBasicDescription &client) const noexcept;

    template <class Fill> OSStatus fillBatch(uint32_t frames, Fill fill);
    OSStatus writeBytes(uint32_t frames, const AudioBufferList &in);
    OSStatus writePlanar(uint32_t frames, const AudioBufferList &in);
    OSStatus writeConverted(uint32_t frames, const AudioBufferList &in);
    OSStatus convertRate(const float *const *planes, uint32_t frames);
    OSStatus drainRate();
    OSStatus store(const float *const *planes, uint32_t frames);
    OSStatus flush();

    std::unique_ptr<StagedFile> file_;
    AudioFileTypeID type_;
    AudioStreamBasicDescription format_;
    AudioStreamBasicDescription client_;
    Path path_ = Path::Copy;
    FrameMath math_; ///< from client to file frames
    int64_t clientFrames_ = 0;
    int64_t storedFrames_ = 0; ///< file frames converted into the batch, or beyond it
    OSStatus failure_ = noErr;

    uint32_t batchFrames_;
    uint32_t batchUsed_ = 0;
    BufferList batch_;

    /// From the client's format to planes of the file's rate and channels.
    struct Conversion {
        std::optional<ChannelMix> fold;
        std::optional<ChannelMix> spread;
        std::unique_ptr<RateConverter> rate;
        Planes client;
        Planes folded;
        Planes rated;
        Planes spreadOut;
    };
    Conversion conversion_;
};

} // namespace kx
