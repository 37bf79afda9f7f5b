#pragma once

#include "KXFW/Platform/Hardware/HardwareBackend.h"

#include <cstring>
#include <future>
#include <limits>
#include <numeric>
#include <vector>

namespace kx::test
{

/// 16-bit stereo frames that hold their own number, from 1 on: 0 is silence.
inline std::vector<uint32_t> numberedFrames(std::size_t count, uint32_t first = 1)
{
    std::vector<uint32_t> frames(count);
    std::iota(frames.begin(), frames.end(), first);
    return frames;
}

/// The other way: interleaved samples as frame numbers.
inline std::vector<uint32_t> frameNumbers(const std::vector<int16_t> &samples)
{
    std::vector<uint32_t> frames(samples.size() / 2);
    if (!frames.empty())
        std::memcpy(frames.data(), samples.data(), frames.size() * sizeof(uint32_t));
    return frames;
}

/// Writes numbered frames on a thread of its own, as a unit does, until the stream ends, is interrupted or `limit`
/// frames were written and heard.
class CountingWriter
{
public:
    explicit CountingWriter(OutputStream &stream, uint64_t limit = std::numeric_limits<uint64_t>::max())
        : stream_(stream), limit_(limit), ended_(std::async(std::launch::async, [this] { return run(); }))
    {
    }
    ~CountingWriter() { stream_.interrupt(); }
    CountingWriter(const CountingWriter &) = delete;
    CountingWriter &operator=(const CountingWriter &) = delete;

    /// Waits for the end: noErr, or the status that the stream ended with.
    OSStatus status() { return ended_.get(); }
    [[nodiscard]] bool hasEnded() const
    {
        return ended_.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }

private:
    OSStatus run()
    {
        uint64_t written = 0; // a device without a clock takes more than 32 bits count in a few seconds
        while (written < limit_) {
            const auto room = stream_.waitForRoom();
            if (!room)
                return room.status();
            if (*room == 0)
                return noErr;
            const auto frames = static_cast<uint32_t>(std::min<uint64_t>(*room, limit_ - written));
            const auto first = static_cast<uint32_t>(written + 1);
            // Where frames are larger the numbers mean nothing, but the memory is there.
            const std::size_t numbers = std::size_t{frames} * stream_.format().mBytesPerFrame / sizeof(uint32_t);
            const OSStatus status = stream_.write(numberedFrames(numbers, first).data(), frames);
            if (status != noErr)
                return status;
            written += frames;
        }
        stream_.drain();
        return noErr;
    }

    OutputStream &stream_;
    const uint64_t limit_;
    std::future<OSStatus> ended_; ///< last: the thread uses the others
};

} // namespace kx::test
