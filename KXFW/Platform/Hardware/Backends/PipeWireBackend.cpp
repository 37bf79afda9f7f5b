#include "KXFW/Platform/Hardware/Backends/PipeWireBackend.h"

#include "KXFW/Platform/Dispatch/LoggedTask.h"
#include "KXFW/Platform/Hardware/Backends/PipeWireStream.h"

#include <algorithm>
#include <ctime>
#include <utility>

namespace
{

using namespace std::chrono_literals;

constexpr std::chrono::seconds kPipeWireAnswerTime{1}; ///< a server that is there answers within it

} // namespace

kx::PipeWireBackend::PipeWireBackend(std::shared_ptr<PipeWireLoop> loop) : loop_(std::move(loop))
{
    const PipeWireLoop::Lock lock(*loop_);
    timer_ = pw_loop_add_timer(
        loop_->loop(),
        [](void *self, uint64_t) noexcept {
            runLogged("KXFW pipewire", [self] { static_cast<PipeWireBackend *>(self)->connect(); });
        },
        this);
    connect();
}

kx::PipeWireBackend::~PipeWireBackend()
{
    const PipeWireLoop::Lock lock(*loop_);
    loop_->loseStreams(kAudioHardwareNotRunningError, [](const std::string &) { return false; });
    connection_.reset();
    if (timer_ != nullptr)
        pw_loop_destroy_source(loop_->loop(), timer_);
}

void kx::PipeWireBackend::waitUntilAnswered(std::chrono::steady_clock::time_point deadline)
{
    changed_.waitUntil(deadline, [&] {
        const PipeWireLoop::Lock lock(*loop_);
        return hasAnswered_ || connection_ == nullptr;
    });
}

void kx::PipeWireBackend::connect()
{
    connection_.reset(); // the broken one
    connection_ = PipeWireConnection::open(*loop_, {[this](PipeWireDevices devices) {
                                                        hasAnswered_ = true;
                                                        backoff_.reset();
                                                        take(std::move(devices));
                                                        changed_.raise();
                                                    },
                                                    [this] { heardBreak(); }});
    if (connection_ == nullptr)
        connectAfter(backoff_.next());
}

void kx::PipeWireBackend::heardBreak()
{
    loop_->loseStreams(kAudioHardwareNotRunningError, [](const std::string &) { return false; });
    connectAfter(backoff_.next());
    take({});
    changed_.raise();
}

void kx::PipeWireBackend::connectAfter(std::chrono::milliseconds delay) noexcept
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(delay);
    timespec time{static_cast<time_t>(seconds.count()), std::chrono::nanoseconds(delay - seconds).count()};
    if (timer_ != nullptr)
        pw_loop_update_timer(loop_->loop(), timer_, &time, nullptr, false);
}

/// On the loop's thread.
void kx::PipeWireBackend::take(PipeWireDevices devices)
{
    loop_->loseStreams(kAudioHardwareBadDeviceError,
                       [&](const std::string &uid) { return devices.sinkFormats.contains(uid); });
    {
        const std::lock_guard guard(lock_);
        devices_ = std::move(devices);
    }
    teller_.tell();
}

kx::HardwareState kx::PipeWireBackend::state() const
{
    const std::lock_guard guard(lock_);
    return devices_.state;
}

void kx::PipeWireBackend::setChangeHandler(std::function<void()> handler)
{
    teller_.setHandler(std::move(handler));
}

std::optional<kx::PipeWireFormat> kx::PipeWireBackend::formatOf(const std::string &uid) const
{
    const std::lock_guard guard(lock_);
    const auto found = devices_.sinkFormats.find(uid);
    return found == devices_.sinkFormats.end() ? std::nullopt : std::optional(found->second);
}

kx::StatusOr<std::unique_ptr<kx::OutputStream>> kx::PipeWireBackend::openOutput(const std::string &uid,
                                                                                uint32_t sliceFrames)
{
    std::unique_ptr<PipeWireStream> stream;
    {
        const PipeWireLoop::Lock lock(*loop_);
        const std::optional<PipeWireFormat> format = formatOf(uid);
        if (!format) // as where the connection has broken
            return kAudioHardwareBadDeviceError;
        stream = std::make_unique<PipeWireStream>(loop_, connection_->core(), uid, *format, std::max(sliceFrames, 1u));
    }
    if (const OSStatus status = stream->waitUntilReady(); status != noErr)
        return status;
    return std::unique_ptr<OutputStream>(std::move(stream));
}

std::unique_ptr<kx::HardwareBackend> kx::makePipeWireBackend()
{
    const auto deadline = std::chrono::steady_clock::now() + kPipeWireAnswerTime;
    std::shared_ptr<PipeWireLoop> loop = PipeWireLoop::start();
    if (!loop)
        return nullptr;
    auto backend = std::make_unique<PipeWireBackend>(std::move(loop));
    backend->waitUntilAnswered(deadline);
    return backend;
}
