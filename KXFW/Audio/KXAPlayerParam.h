#pragma once

#include "KXFW/Platform/AudioUnits/AudioUnit.h"
#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/Export.h"

#include <cstdint>
#include <memory>

/// The record of playback settings and positions that a player and its render path share; each data source keeps one
/// of its own. It has no behaviour. Every field is read and written as a whole, from any thread, the render thread
/// included. Offsets are bytes of the client format. The record borrows its units: the player ends them.
class KX_EXPORT KXAPlayerParam
{
public:
    KXAPlayerParam();          ///< As `playerParam` gives it. [any]
    virtual ~KXAPlayerParam(); ///< [any]
    KXAPlayerParam(const KXAPlayerParam &) = delete;
    KXAPlayerParam &operator=(const KXAPlayerParam &) = delete;

    /// A new record of class `Param`: loop on, everything else zero. [any]
    template <class Param = KXAPlayerParam> static std::shared_ptr<Param> playerParam()
    {
        return std::make_shared<Param>();
    }

    // Getters and setters, one pair a field. All [any] [render].

    /// Whether playing goes on from the start offset after the end offset.
    [[nodiscard]] bool loop() const noexcept;
    void setLoop(bool loop) noexcept;

    /// Output volume, a linear gain.
    [[nodiscard]] float volume() const noexcept;
    void setVolume(float volume) noexcept;

    /// Where the next read continues.
    [[nodiscard]] int64_t byteOffset() const noexcept;
    void setByteOffset(int64_t byteOffset) noexcept;

    /// The play range: start inclusive, end exclusive. Any values are stored; the readers bound themselves.
    [[nodiscard]] int64_t startOffset() const noexcept;
    void setStartOffset(int64_t startOffset) noexcept;
    [[nodiscard]] int64_t endOffset() const noexcept;
    void setEndOffset(int64_t endOffset) noexcept;

    /// The last unit before the output unit, from which an export renders.
    [[nodiscard]] AudioUnit postUnit() const noexcept;
    void setPostUnit(AudioUnit postUnit) noexcept;

    /// The effect mode: 0 without, 1 with an effect unit.
    [[nodiscard]] uint64_t mode() const noexcept;
    void setMode(uint64_t mode) noexcept;

    [[nodiscard]] AudioUnit outputUnit() const noexcept;
    void setOutputUnit(AudioUnit outputUnit) noexcept;

    /// The format that the render path hands to the chain; its bytes per frame turn frames into offsets.
    [[nodiscard]] AudioStreamBasicDescription inputDesc() const;
    void setInputDesc(const AudioStreamBasicDescription &inputDesc);

    /// The format of the output unit.
    [[nodiscard]] AudioStreamBasicDescription outputDesc() const;
    void setOutputDesc(const AudioStreamBasicDescription &outputDesc);

private:
    struct Impl;
    const std::unique_ptr<Impl> impl_;
};
