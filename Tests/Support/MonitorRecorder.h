#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kx::test
{

/// Records what a sink of the sound server plays, from its monitor, as interleaved 16-bit samples. When it is made it
/// is recording already. A server that does not let it throws std::runtime_error.
class MonitorRecorder
{
public:
    explicit MonitorRecorder(const std::string &sink, uint32_t rate = 44100, uint32_t channels = 2);
    ~MonitorRecorder();
    MonitorRecorder(const MonitorRecorder &) = delete;
    MonitorRecorder &operator=(const MonitorRecorder &) = delete;

    [[nodiscard]] std::vector<int16_t> samples() const;
    /// Waits until `condition` holds for all that was recorded; false when it does not in time.
    bool waitUntil(const std::function<bool(const std::vector<int16_t> &)> &condition,
                   std::chrono::seconds deadline = std::chrono::seconds(20)) const;

private:
    struct Recording;
    std::unique_ptr<Recording> recording_;
};

/// What is recorded without the silence before and after it: from the first to the last frame that is not all zero.
[[nodiscard]] std::vector<int16_t> withoutSilence(const std::vector<int16_t> &samples, uint32_t channels = 2);

} // namespace kx::test
