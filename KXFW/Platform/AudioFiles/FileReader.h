#pragma once

#include "KXFW/Platform/AudioFiles/ClientStream.h"
#include "KXFW/Platform/AudioFiles/SeekCache.h"

#include <filesystem>
#include <memory>
#include <stop_token>

namespace kx
{

class FileBytes;

/// A file open for reading: the decoder, the conversion into the client format, the position, and the cache of what
/// lies at the last few seek targets.
///
/// A seek only sets the position; the decoder follows when frames are wanted that the cache does not hold. So a disk
/// error shows in the read after a seek. One thread at a time.
class FileReader
{
public:
    /// Opens within limits on bytes read and time taken that grow with the file's length, or until `stop` is requested
    /// on any thread. [any] [blocks]
    static StatusOr<std::unique_ptr<FileReader>> open(const std::filesystem::path &path, std::stop_token stop = {});
    static StatusOr<std::unique_ptr<FileReader>> open(std::shared_ptr<ByteSource> source,
                                                      std::stop_token stop = {});        ///< The same. [any] [blocks]
    static StatusOr<std::unique_ptr<FileReader>> open(std::unique_ptr<Decoder> decoder); ///< [any]

    [[nodiscard]] const DecodedFormat &format() const noexcept { return decoder_->format(); }              ///< [any]
    [[nodiscard]] const AudioStreamBasicDescription &client() const noexcept { return stream_->client(); } ///< [any]

    /// Keeps the position as near as the new rate allows; on a failure nothing has changed. [any]
    OSStatus setClient(const AudioStreamBasicDescription &client);

    /// Fills up to `frames` frames of `out`, whose buffers have been checked. `frames` comes back as the number
    /// delivered. A file that ends before the length that it announced gives kAudioFileReadError there. [any] [blocks]
    OSStatus read(uint32_t &frames, AudioBufferList &out);

    OSStatus seek(int64_t fileFrame);            ///< [any]
    [[nodiscard]] int64_t tell() const noexcept; ///< [any]
    /// Whether a read that was given up is still under way, on whatever thread. [any] [render]
    [[nodiscard]] bool isHeldUp() const noexcept;

private:
    explicit FileReader(std::unique_ptr<Decoder> decoder) : decoder_(std::move(decoder)) {}
    void place(int64_t fileFrame) noexcept;
    StatusOr<uint32_t> fetch(uint32_t frames, AudioBufferList &out, uint32_t first);

    std::shared_ptr<const FileBytes> bytes_; ///< null where the bytes are no file's
    std::unique_ptr<Decoder> decoder_;
    std::unique_ptr<ClientStream> stream_;
    std::unique_ptr<SeekCache> cache_;
    int64_t next_ = 0;        ///< client frame that is read next
    int64_t standing_ = 0;    ///< client frame that the stream gives next; -1 unknown
    int64_t soughtFrame_ = 0; ///< file frame of the last seek
    bool hasRead_ = false;    ///< since the last seek
};

} // namespace kx
