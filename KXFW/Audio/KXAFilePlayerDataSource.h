#pragma once

#include "KXFW/Audio/KXAFiledAudioData2.h"
#include "KXFW/Audio/KXAPlayerParam.h"
#include "KXFW/Platform/Foundation/Export.h"

#include <filesystem>
#include <memory>
#include <stop_token>

namespace kx
{
class RenderSource;
}

/// Pairs one file's audio data with a parameter record that tracks the read position and the play range in bytes.
/// The player makes one for each file it loads. It adds no locking to that of its audio data.
class KX_EXPORT KXAFilePlayerDataSource
{
public:
    KXAFilePlayerDataSource();  ///< No audio data, a new parameter record. [any]
    ~KXAFilePlayerDataSource(); ///< [any]
    KXAFilePlayerDataSource(const KXAFilePlayerDataSource &) = delete;
    KXAFilePlayerDataSource &operator=(const KXAFilePlayerDataSource &) = delete;

    /// The data source of the file at `url`, with the whole file as its range, or null when the file cannot be opened
    /// (the log says why) or `stop` is requested, on any thread, meanwhile. [any] [blocks]
    static std::shared_ptr<KXAFilePlayerDataSource> dataSourceWithContentsOfURL(const std::filesystem::path &url,
                                                                                const std::stop_token &stop = {});
    /// The same for a caller that tells why itself: `why` (borrowed) gets the status, and the log nothing.
    /// [any] [blocks]
    static std::shared_ptr<KXAFilePlayerDataSource>
    dataSourceWithContentsOfURL(const std::filesystem::path &url, const std::stop_token &stop, OSStatus *why);

    /// Passes on to the audio data's readToBuffer; without audio data, no frames. [any] [render]
    void readToBuffer(void *destination, uint32_t *numFrames);
    /// Moves the audio data to `frame`, and the record's byte offset with it. [any] [blocks]
    void seek(int64_t frame);
    /// Pre-reads the next `frames` frames into the ring, following the record's range and loop flag, and moves the
    /// record's byte offset on; `destination` is not used. Does nothing with an empty range, without frames, or while
    /// the record's inputDesc has no frame size. [any] [blocks]
    void prerenderToBuffer(void *destination, uint32_t frames);

    [[nodiscard]] std::shared_ptr<KXAFiledAudioData2> audioData() const; ///< [any] [render]
    /// Data that is replaced while a player has the source is kept as long as the source. [any]
    void setAudioData(std::shared_ptr<KXAFiledAudioData2> audioData);
    [[nodiscard]] std::shared_ptr<KXAPlayerParam> param() const; ///< [any]
    void setParam(std::shared_ptr<KXAPlayerParam> param);        ///< Null is refused: there is always a record. [any]

private:
    friend class kx::RenderSource;
    [[nodiscard]] KXAFiledAudioData2 *dataToPlay() const noexcept;
    static std::shared_ptr<KXAFilePlayerDataSource> of(std::shared_ptr<KXAFiledAudioData2> data);

    struct Impl;
    const std::unique_ptr<Impl> impl_;
};

extern "C" {

/// Pre-reads `bytes` bytes, in whole frames, into the ring of `audioData` (borrowed, not null); `destination` is not
/// used. Returns the bytes pre-read, an unsigned 32-bit count. [any] [blocks]
KX_EXPORT uint64_t _read2(KXAFiledAudioData2 *audioData, void *destination, int64_t bytes) KX_SYMBOL(_read2);
}
