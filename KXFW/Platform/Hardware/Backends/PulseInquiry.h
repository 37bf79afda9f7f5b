#pragma once

#include "KXFW/Platform/Hardware/Backends/PulseDevices.h"
#include "KXFW/Platform/Hardware/Backends/PulseLoop.h"

#include <array>
#include <functional>

namespace kx
{

/// Questions to the server: its defaults, its sinks, its sources, and its defaults again; once more from the start
/// where those changed meanwhile. Lives under the loop's lock.
class PulseInquiry
{
public:
    /// Asks at once, while `context` is ready; `done` is called with the answers on the loop's thread, where it may
    /// destroy the inquiry. It is not called when the connection breaks.
    PulseInquiry(pa_context *context, std::function<void(PulseDevices)> done);
    /// No more answers are heard.
    ~PulseInquiry();
    PulseInquiry(const PulseInquiry &) = delete;
    PulseInquiry &operator=(const PulseInquiry &) = delete;

private:
    void ask();
    void dropQuestions() noexcept;
    void hear(const pa_server_info *server);
    template <class Info> void hear(const Info *device, int end);
    void oneAnswered();

    pa_context *const context_;
    std::function<void(PulseDevices)> done_;
    PulseDevices devices_;
    std::array<pa_operation *, 4> questions_{}; ///< owned
    std::size_t answered_ = 0;
    bool isSteady_ = false; ///< the defaults are those that were heard the time before
    int roundsLeft_ = 5;    ///< for a server that does not come to rest
};

} // namespace kx
