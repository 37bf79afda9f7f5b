#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/Export.h"

#include <cstdint>
#include <filesystem>
#include <memory>

/// Audio data: a source of frames in one known format that can be positioned, read by frames or bytes, and measured.
///
/// The base holds the format and names the operations; a subclass does the reading. Each operation that a subclass
/// leaves out throws NSGenericException, the bare text (`catch (const char *)`). Only `format` is guarded for several
/// threads here.
class KX_EXPORT KXAData
{
public:
    KXAData();          ///< [any]
    virtual ~KXAData(); ///< [any]
    KXAData(const KXAData &) = delete;
    KXAData &operator=(const KXAData &) = delete;

    /// A new object of this base class, for any URL: subclasses open files. [any]
    static std::shared_ptr<KXAData> audioDataWithContentsOfURL(const std::filesystem::path &url);

    /// The format in which frames are delivered. [any] [render]
    [[nodiscard]] AudioStreamBasicDescription format() const;
    [[nodiscard]] uint32_t bytesPerFrame() const noexcept;     ///< Of `format`. [any] [render]
    void setFormat(const AudioStreamBasicDescription &format); ///< [any]

    /// Reads `*frames` frames to `destination`; `*frames` comes back as the number delivered. [any] [blocks]
    virtual void readToBuffer(void *destination, uint32_t *frames);
    virtual void writeFromBuffer(const void *source, uint32_t *frames); ///< [any] [blocks]
    virtual void seek(int64_t frame);                                   ///< [any] [blocks]
    [[nodiscard]] virtual int64_t tell();                               ///< [any] [blocks]
    virtual void prepareForRead();                                      ///< [any] [blocks]
    virtual void prepareForWrite();                                     ///< [any] [blocks]
    virtual void finalizeForRead();                                     ///< [any] [blocks]
    virtual void finalizeForWrite();                                    ///< [any] [blocks]
    [[nodiscard]] virtual int64_t numFrames();                          ///< Length in frames of `format`. [any]
    [[nodiscard]] virtual uint32_t fileFormat();                        ///< [any]
    /// Copies `numBytes` bytes from byte `startingByte` on and returns how many there were. [any] [blocks]
    virtual uint32_t copyToBuffer(void *destination, uint64_t startingByte, uint64_t numBytes);

    [[nodiscard]] bool isZeroSize();    ///< True exactly when there are no frames. [any]
    [[nodiscard]] int64_t bufferSize(); ///< Length in bytes of `format`. [any] [render]

private:
    struct Impl;
    const std::unique_ptr<Impl> impl_;
};
