#pragma once

#include "KXFW/Platform/AudioUnits/AudioUnit.h"
#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Foundation/Guarded.h"

#include <atomic>
#include <cstdint>
#include <memory>

/// The record of playback settings and positions that a player and its render path share; each data source keeps one
/// of its own. It has no behaviour. Every field is read and written as a whole, from any thread, the render thread
/// included. Offsets are bytes of the client format. The record borrows its units: the player ends them.
class KX_EXPORT KXAPlayerParam
{
public:
    KXAPlayerParam() = default;
    virtual ~KXAPlayerParam() = default;
    KXAPlayerParam(const KXAPlayerParam &) = delete;
    KXAPlayerParam &operator=(const KXAPlayerParam &) = delete;

    /// A new record of class `Param`: loop on, everything else zero. [any]
    template <class Param = KXAPlayerParam> static std::shared_ptr<Param> playerParam()
    {
        return std::make_shared<Param>();
    }

    // Getters and setters, one pair a field. All [any] [render].

    /// Whether playing goes on from the start offset after the end offset.
    [[nodiscard]] bool loop() const noexcept { return loop_; }
    void setLoop(bool loop) noexcept { loop_ = loop; }

    /// Output volume, a linear gain.
    [[nodiscard]] float volume() const noexcept { return volume_; }
    void setVolume(float volume) noexcept { volume_ = volume; }

    /// Where the next read continues.
    [[nodiscard]] int64_t byteOffset() const noexcept { return byteOffset_; }
    void setByteOffset(int64_t byteOffset) noexcept { byteOffset_ = byteOffset; }

    /// The play range: start inclusive, end exclusive. Any values are stored; the readers bound themselves.
    [[nodiscard]] int64_t startOffset() const noexcept { return startOffset_; }
    void setStartOffset(int64_t startOffset) noexcept { startOffset_ = startOffset; }
    [[nodiscard]] int64_t endOffset() const noexcept { return endOffset_; }
    void setEndOffset(int64_t endOffset) noexcept { endOffset_ = endOffset; }

    /// The last unit before the output unit, from which an export renders.
    [[nodiscard]] AudioUnit postUnit() const noexcept { return postUnit_; }
    void setPostUnit(AudioUnit postUnit) noexcept { postUnit_ = postUnit; }

    /// The effect mode: 0 without, 1 with an effect unit.
    [[nodiscard]] uint64_t mode() const noexcept { return mode_; }
    void setMode(uint64_t mode) noexcept { mode_ = mode; }

    [[nodiscard]] AudioUnit outputUnit() const noexcept { return outputUnit_; }
    void setOutputUnit(AudioUnit outputUnit) noexcept { outputUnit_ = outputUnit; }

    /// The format that the render path hands to the chain; its bytes per frame turn frames into offsets.
    [[nodiscard]] AudioStreamBasicDescription inputDesc() const { return inputDesc_.get(); }
    void setInputDesc(const AudioStreamBasicDescription &inputDesc) { inputDesc_.set(inputDesc); }

    /// The format of the output unit.
    [[nodiscard]] AudioStreamBasicDescription outputDesc() const { return outputDesc_.get(); }
    void setOutputDesc(const AudioStreamBasicDescription &outputDesc) { outputDesc_.set(outputDesc); }

private:
    std::atomic<bool> loop_{true};
    std::atomic<float> volume_{0.0F};
    std::atomic<int64_t> byteOffset_{0};
    std::atomic<int64_t> startOffset_{0};
    std::atomic<int64_t> endOffset_{0};
    std::atomic<AudioUnit> postUnit_{nullptr};
    std::atomic<uint64_t> mode_{0};
    std::atomic<AudioUnit> outputUnit_{nullptr};
    kx::Guarded<AudioStreamBasicDescription> inputDesc_;
    kx::Guarded<AudioStreamBasicDescription> outputDesc_;
};
