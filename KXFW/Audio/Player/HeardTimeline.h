#pragma once

#include "KXFW/Platform/Foundation/PriorityMutex.h"

#include <array>
#include <atomic>
#include <cstdint>

namespace kx
{

/// What one render callback put into the chain.
struct RenderedSlice {
    double output;     ///< the output frame at which the slice under way begins
    uint32_t frames;   ///< frames put into the chain,
    uint32_t read;     ///< those of them that are the file's; silence follows
    uint32_t held;     ///< frames that the chain holds back when the slice is done
    int64_t position;  ///< the file's frame at their begin,
    int64_t loopStart; ///< the frame that follows `loopEnd`,
    int64_t loopEnd;   ///< and the frame behind the last one, where the position turns back,
    bool loops;        ///< or stays
    bool jumps;        ///< these frames are heard next, and not what the chain held back
};

/// Remembers which frames of the file went into the chain and when, to tell which of them is heard: frames go in with a
/// number that only grows, the chain holds some of them back, the device plays them later. It looks back over
/// five seconds of playing straight on. The render thread notes; any thread asks.
class HeardTimeline
{
public:
    /// Forgets the frames that went in; until more do, `position` is told. [any]
    void clear(int64_t position);
    /// The same, and the chain holds nothing back. [any]
    void restart(int64_t position);
    /// The position has jumped to `position`: the frames that go in from now on are from there. [any]
    void jump(int64_t position);
    /// Playing has stopped when the output's frame `output` was heard. A jump that was not heard yet counts as heard.
    /// [any]
    void stop(double output);
    void note(const RenderedSlice &slice) noexcept; ///< [render]

    /// The frame of the file that is heard when the output's frame `output` is. From call to call it never goes back
    /// but where the position does. [any]
    [[nodiscard]] int64_t frameAt(double output);

    /// All frames that went into the chain so far. [any] [render]
    [[nodiscard]] int64_t entered() const noexcept { return entered_; }

private:
    struct Record {
        double output;
        int64_t heard;   ///< number of the frame that is heard at `output`
        int64_t entered; ///< number of the first frame of the slice
        RenderedSlice slice;
    };
    static constexpr uint32_t kRecords = 512;
    static constexpr int64_t kNone = -1;

    [[nodiscard]] const Record &record(uint64_t index) const noexcept { return records_[index % kRecords]; }
    void forget(int64_t position) noexcept;
    void append(const RenderedSlice &slice) noexcept;
    [[nodiscard]] bool continues(const RenderedSlice &slice) const noexcept;
    [[nodiscard]] double heardAt(double output) const noexcept;
    [[nodiscard]] double speedBehind(uint64_t index) const noexcept;
    [[nodiscard]] int64_t positionOf(int64_t number) const noexcept;

    mutable PriorityMutex lock_; ///< guards what follows
    std::array<Record, kRecords> records_{};
    uint64_t first_ = 0; ///< the oldest record known
    uint64_t next_ = 0;
    uint32_t held_ = 0;
    int64_t jumped_ = kNone; ///< the number of the first frame after the last jump
    int64_t jumpedTo_ = 0;   ///< its position
    int64_t waiting_ = 0;    ///< the position while nothing went in
    double told_ = 0;        ///< the number of the frame that was told last
    std::atomic<int64_t> entered_{0};
};

} // namespace kx
