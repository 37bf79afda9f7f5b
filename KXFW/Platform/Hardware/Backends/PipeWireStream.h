#pragma once

#include "KXFW/Platform/Hardware/Backends/CallbackStream.h"
#include "KXFW/Platform/Hardware/Backends/PipeWireDevices.h"
#include "KXFW/Platform/Hardware/Backends/PipeWireLoop.h"
#include "KXFW/Platform/Hardware/Backends/WakeSignal.h"

#include <string>

namespace kx
{

/// A stream to one sink. It stays there: when the sink goes it is lost. The session manager links it; where there is
/// none the server takes the stream and asks it for nothing.
class PipeWireStream final : public CallbackStream
{
public:
    /// The loop's lock is held.
    PipeWireStream(std::shared_ptr<PipeWireLoop> loop, pw_core *core, std::string sink, const PipeWireFormat &format,
                   uint32_t sliceFrames);
    ~PipeWireStream() override;

    /// Waits for the server's consent: noErr, or why there is no stream. [blocks]
    OSStatus waitUntilReady();

    [[nodiscard]] const std::string &device() const noexcept { return sink_; }
    /// The backend knows that the stream is lost. The loop's lock is held.
    void loseAs(OSStatus reason);

private:
    [[nodiscard]] pw_properties *properties(uint32_t sliceFrames) const;
    [[nodiscard]] int connect(const PipeWireFormat &format);
    void heardState(pw_stream_state state);
    void heardEnd();
    void process() noexcept; ///< on the data thread, with no lock
    [[nodiscard]] Clock::time_point timeHeard() const noexcept;

    const std::shared_ptr<PipeWireLoop> loop_;
    const std::string sink_;
    const uint32_t usualFrames_; ///< what a callback gets that does not say how many it wants
    WakeSignal changed_;
    pw_stream *stream_ = nullptr; ///< used under the loop's lock, but by the process callback, as are the next
    bool hasEnded_ = false;       ///< there is none, or none any more
    spa_hook hook_{};
    bool isReady_ = false;
    OSStatus loss_ = noErr;
};

} // namespace kx
