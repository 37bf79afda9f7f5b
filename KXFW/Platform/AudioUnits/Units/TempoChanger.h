#pragma once

#include "KXFW/Platform/AudioUnits/Units/PlanarFifo.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace soundtouch
{
class SoundTouch;
}

namespace kx
{

/// A straight line from frames of a changed tempo to the frames of the source that are heard there.
struct TempoLine {
    double changed = 0; ///< a frame of the changed signal,
    double source = 0;  ///< where this frame of the source is heard,
    double tempo = 1;   ///< and how many source frames pass with each from there on

    /// The source frame heard at `frame`. [any] [render]
    [[nodiscard]] double at(double frame) const noexcept { return source + (frame - changed) * tempo; }
};

/// Changes the tempo of a stereo signal at 44,100 Hz without its pitch: the place where SoundTouch is.
///
/// It works by sequences, pieces of some 10 to 80 ms that are overlapped where they fit best. Each sequence is told to
/// end where the caller's line is then, to the frame, so that nothing drifts whatever the tempo does. Between `start`s
/// a tempo may change with each sequence, without a seam. All memory is made at construction. One thread at a time.
class TempoChanger
{
public:
    static constexpr uint32_t kChannels = 2;
    static constexpr double kSlowest = 1.0 / 16;
    static constexpr double kFastest = 16;
    /// Source frames beyond the line that the making of a sequence may need, where that is made no more than 512 of
    /// them before it is due and begins within twice kPatience of the line.
    static constexpr uint32_t kLookAhead = 7000;
    static constexpr uint32_t kPatience = 1024;
    static constexpr uint32_t kLongestOutput = 2 * 3617; ///< frames that one `makeNext` appends at most

    TempoChanger(); ///< [any]
    ~TempoChanger();
    TempoChanger(TempoChanger &&) noexcept; ///< One that was moved from may be ended or assigned to only. [any]
    TempoChanger &operator=(TempoChanger &&) noexcept;

    /// Begins anew at a frame of the source; the first sequence is the source itself. [any] [render]
    void start(int64_t sourceFrame) noexcept;

    /// How far the next sequence, appended as changed frame `next`, begins from where the line wants it: source frames
    /// ahead, or behind if below 0. [any] [render]
    [[nodiscard]] double distance(const TempoLine &line, int64_t next) const noexcept;

    /// Whether all that is heard of the next sequence lies before source frame `end`. [any] [render]
    [[nodiscard]] bool canMakeNextOf(int64_t end) const noexcept;

    /// The first source frame that is still needed. [any] [render]
    [[nodiscard]] int64_t nextNeeded() const noexcept { return fed_; }

    /// Appends the next sequence to `out`, whose next frame is the one that follows. `source` still holds what is
    /// needed from the last call on; what lies behind frame `end` of it counts as silence. [render]
    void makeNext(const PlanarFifo &source, int64_t end, const TempoLine &line, PlanarFifo &out) noexcept;

private:
    void shapeFor(double tempo) noexcept;
    [[nodiscard]] double position() const noexcept;
    [[nodiscard]] double allowance(double tempo) const noexcept;
    [[nodiscard]] double tempoTo(const TempoLine &line, int64_t from) const noexcept;
    void feed(const PlanarFifo &source, int64_t end) noexcept;
    void take(PlanarFifo &out) noexcept;
    void growBuffers();

    std::unique_ptr<soundtouch::SoundTouch> touch_;
    std::vector<float> interleaved_;
    int64_t start_ = 0;        ///< the source frame of the last start
    int64_t fed_ = 0;          ///< the next source frame to feed
    bool isFirst_ = true;      ///< no sequence was made since the start
    int sequenceMs_ = 0;       ///< as set
    int seekMs_ = 0;           ///< as set
    int seekFrames_ = 0;       ///< how far a sequence's begin may be moved to fit
    uint32_t sequenceOut_ = 0; ///< frames that a sequence appends
};

} // namespace kx
