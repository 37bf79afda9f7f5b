#pragma once

#include "KXFW/Platform/Hardware/Backends/PulseDevices.h"
#include "KXFW/Platform/Hardware/Backends/PulseLoop.h"

#include <array>
#include <functional>

namespace kx
{

/// One round of questions to the server: its defaults, its sinks and its sources. Lives under the loop's lock.
class PulseInquiry
{
public:
    /// Asks at once; `done` is called with the answers on the loop's thread, where it may destroy the inquiry. It is
    /// not called when the connection breaks.
    PulseInquiry(pa_context *context, std::function<void(PulseDevices)> done);
    /// No more answers are heard.
    ~PulseInquiry();
    PulseInquiry(const PulseInquiry &) = delete;
    PulseInquiry &operator=(const PulseInquiry &) = delete;

private:
    void hear(const pa_server_info *server);
    template <class Info> void hear(const Info *device, int end);
    void oneAnswered();

    std::function<void(PulseDevices)> done_;
    PulseDevices devices_;
    std::array<pa_operation *, 3> questions_; ///< owned
    std::size_t answered_ = 0;
};

} // namespace kx
