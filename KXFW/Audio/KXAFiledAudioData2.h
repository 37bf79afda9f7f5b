#pragma once

#include "KXFW/Audio/KXAData.h"
#include "KXFW/Audio/KXRingBuffer.h"
#include "KXFW/Platform/AudioFiles/ExtendedAudioFile.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <stop_token>

namespace kx
{
class ByteBlock;
class SerialQueue;
} // namespace kx

extern "C" {
KX_EXPORT extern const uint64_t kKXAFiledAudioData_RingBufferSize;   ///< 16777216 bytes
KX_EXPORT extern const uint64_t kKXAFiledAudioData_BridgeBufferSize; ///< 1048576 bytes
}

/// The audio data of one file: opened in the standard description whatever the file holds, and kept decoded ahead of
/// the reader in a ring buffer.
///
/// It owns the open file, the 16 MiB ring and the 1 MiB bridge buffer through which pre-reads fill it. A frame is a
/// frame of the standard description (44,100 a second, 4 bytes) unless it is called a file frame.
///
/// States: made (no file), prepared (prepareForRead), finalized (finalizeForRead, or the destructor). Once prepared,
/// the file, its format record, the ring, the bridge buffer and the queues are fixed: their setters do nothing.
///
/// Threads: the timer pre-reads, the render thread reads (and on an underrun pre-reads), another may seek. Three serial
/// queues, entered one at a time, guard the ring, the file with the bridge buffer, and runs of `preread`. Whole
/// pre-reads and seeks exclude each other by a lock outside the queues; a read that finds the ring full enough waits
/// for neither. A running pre-read ends early when a seek or a short read waits for it.
///
/// A failing read of the file raises the status assertion once; from then on the data counts as ended there, until it
/// is sought elsewhere. Later failures are ends too. Failing seeks raise each time.
class KX_EXPORT KXAFiledAudioData2 : public KXAData
{
public:
    KXAFiledAudioData2(); ///< Makes the ring, the bridge buffer and the queues; std::bad_alloc without memory. [any]
    ~KXAFiledAudioData2() override; ///< Closes the file. [any] [blocks]

    /// The prepared data of the file at `url`, or null after two log lines when it cannot be opened as audio. Throws
    /// what is no NSException, such as std::bad_alloc. Null without log lines once `stop` is requested. [any] [blocks]
    static std::shared_ptr<KXAFiledAudioData2> audioDataWithContentsOfURL(const std::filesystem::path &url,
                                                                          const std::stop_token &stop = {});
    /// The same for a caller that tells why itself: `why` (borrowed) gets the status, noErr with the data, and the log
    /// nothing. [any] [blocks]
    static std::shared_ptr<KXAFiledAudioData2> audioDataWithContentsOfURL(const std::filesystem::path &url,
                                                                          const std::stop_token &stop, OSStatus *why);

    /// Opens fileURL() and takes its length. Raises the status assertion when it cannot. [any] [blocks]
    void prepareForRead() override { prepareForRead({}); }
    /// The same, and any thread may end it by `stop`: the status raised is then kAudioFileOpeningCancelledError.
    /// [any] [blocks]
    void prepareForRead(const std::stop_token &stop);
    /// Closes the file; pre-reading must have stopped. A second call does nothing. [any] [blocks]
    void finalizeForRead() override;

    /// Length in frames: trunc(file frames x 44,100 / file rate). [any] [render]
    [[nodiscard]] int64_t numFrames() override;
    /// The file's position in file frames. [any] [queue: KXAFiledAudioData.fileAccessQueue] [blocks]
    [[nodiscard]] int64_t tell() override;
    /// Reads straight from the file, past the ring and the queues, at start byte / 4; not while pre-reading runs. The
    /// position is compared and sought in file frames as they are. Returns the bytes delivered. [any] [blocks]
    uint32_t copyToBuffer(void *destination, uint64_t startingByte, uint64_t numBytes) override;

    /// Takes `*frames` frames from the ring, decoding here what is missing; `*frames` comes back as the number
    /// delivered, fewer at the end, and in a request that is more than one bridge buffer (262,144 frames) longer than
    /// what the ring holds. The rest of `destination` is not touched. [any] [render]
    void readToBuffer(void *destination, uint32_t *frames) override;
    /// The same, with samples in the order of this machine, left and right in turn. [any] [render]
    void readNative(int16_t *interleaved, uint32_t *frames);
    /// Moves so that the next frame read is `frame`, and pre-reads one second. 0 to numFrames(). [any] [blocks]
    void seek(int64_t frame) override;
    /// Decodes up to `frames` frames into the ring and returns how many: fewer when the ring or the bridge buffer is
    /// the limit, when somebody waits, and at the end. [any] [blocks]
    uint32_t prereadFrames(uint32_t frames);
    /// Decodes until `frames` frames wait in the ring, as far as prereadFrames goes. [any] [blocks]
    void readAhead(uint32_t frames);
    /// Fills the ring as far as one bridge buffer goes. [queue: KXAFiledAudioData.prereadQueue] [blocks]
    void preread();
    void _preread(); ///< The body of `preread`. [any] [blocks]

    /// How long an operation waits for a disk that does not answer; at first, and with kx::DiskDeadline::kNone, as long
    /// as it takes. With a limit, pre-reads and reads then bring fewer frames, at the place where the data stays or was
    /// sought, and more once the disk has answered. The player sets 250 ms for the data that it plays. [any]
    void setDiskPatience(std::chrono::milliseconds patience) noexcept;

    /// How often a read found the ring short of data that the file still has. [any]
    [[nodiscard]] uint64_t underruns() const noexcept;
    /// True when what is read now ends because the file could not be read on. [any]
    [[nodiscard]] bool endedByFailure() const noexcept;

    void _ensureFileLengthFrames();                              ///< Takes the file's length. [any] [blocks]
    [[nodiscard]] AudioStreamBasicDescription _fileDataFormat(); ///< The file's own format. [any] [render]
    void _ensureFileDataFormat();                                ///< Takes the file's own format once. [any] [blocks]
    void _finalize();                                            ///< What finalizeForRead does. [any] [blocks]

    // The fields. Getters give copies of the references; setters of what is fixed while a file is open do nothing then,
    // and refuse null; they are true when they have set it. All [any].
    [[nodiscard]] std::shared_ptr<KXRingBuffer> ringBuffer() const;
    bool setRingBuffer(std::shared_ptr<KXRingBuffer> ring);
    [[nodiscard]] std::shared_ptr<kx::ByteBlock> bridgeBufferData() const;
    bool setBridgeBufferData(std::shared_ptr<kx::ByteBlock> data);
    [[nodiscard]] std::shared_ptr<kx::SerialQueue> ringBufferQueue() const;
    bool setRingBufferQueue(std::shared_ptr<kx::SerialQueue> queue);
    [[nodiscard]] std::shared_ptr<kx::SerialQueue> fileAccessQueue() const;
    bool setFileAccessQueue(std::shared_ptr<kx::SerialQueue> queue);
    [[nodiscard]] std::shared_ptr<kx::SerialQueue> prereadQueue() const;
    bool setPrereadQueue(std::shared_ptr<kx::SerialQueue> queue);
    /// Length in file frames; 0 means not taken yet.
    [[nodiscard]] int64_t fileLengthFrames() const noexcept;
    void setFileLengthFrames(int64_t frames) noexcept;
    /// The file's own format, owned by the data; a rate of 0 means not taken yet, null that the file is closed.
    [[nodiscard]] AudioStreamBasicDescription *fileDataFormatPtr() const noexcept;
    /// Takes ownership of `format`, made with new; it is ended at once while a file is open.
    bool setFileDataFormatPtr(AudioStreamBasicDescription *format);
    /// The open file, or null.
    [[nodiscard]] ExtAudioFileRef fileRef() const noexcept;
    /// Takes ownership of an open file. False while a file is open: the caller keeps it.
    [[nodiscard]] bool setFileRef(ExtAudioFileRef file) noexcept;
    [[nodiscard]] std::filesystem::path fileURL() const;
    void setFileURL(std::filesystem::path url);

private:
    struct Impl;
    const std::unique_ptr<Impl> impl_;
};
