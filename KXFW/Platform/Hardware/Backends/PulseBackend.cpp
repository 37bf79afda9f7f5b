#include "KXFW/Platform/Hardware/Backends/PulseBackend.h"

#include "KXFW/Platform/Dispatch/LoggedTask.h"
#include "KXFW/Platform/Hardware/Backends/PulseQuirks.h"
#include "KXFW/Platform/Hardware/Backends/PulseStream.h"
#include "KXFW/Platform/Hardware/Backends/StreamBuffer.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace
{

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr const char *kLabel = "KXFW pulse";
constexpr std::chrono::seconds kAnswerTime{1};           ///< a server that is there answers within it
constexpr std::chrono::milliseconds kFirstDelay = 100ms; ///< within the answer time
constexpr uint64_t kEnoughRefusals = 2;                  ///< where nothing suggests that there is a server

} // namespace

kx::PulseBackend::PulseBackend(std::shared_ptr<PulseLoop> loop) : loop_(std::move(loop))
{
    const PulseLoop::Lock lock(*loop_);
    connect();
}

kx::PulseBackend::~PulseBackend()
{
    const PulseLoop::Lock lock(*loop_);
    dropContext();
}

void kx::PulseBackend::waitUntilAnswered(Clock::time_point deadline)
{
    const bool isLikely = pulseServerIsLikely();
    changed_.waitUntil(deadline, [&] {
        const PulseLoop::Lock lock(*loop_);
        return hasAnswered_ || (!isLikely && refusals_ >= kEnoughRefusals);
    });
}

void kx::PulseBackend::connect()
{
    dropContext();
    context_.reset(pulse().context_new(loop_->api(), program_invocation_short_name));
    if (!context_)
        return; // no memory: there is nothing to make a timer with either
    pulse().context_set_state_callback(
        context_.get(), [](pa_context *, void *self) noexcept { static_cast<PulseBackend *>(self)->heardState(); },
        this);
    pulse().context_set_subscribe_callback(
        context_.get(),
        [](pa_context *, pa_subscription_event_type_t, uint32_t, void *self) noexcept {
            runLogged(kLabel, [self] { static_cast<PulseBackend *>(self)->ask(); });
        },
        this);
    if (pulse().context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
        reconnectLater();
}

void kx::PulseBackend::dropContext() noexcept
{
    cancelTimer();
    inquiry_.reset();
    mustAskAgain_ = false;
    if (!context_)
        return;
    pulse().context_set_state_callback(context_.get(), nullptr, nullptr);
    pulse().context_set_subscribe_callback(context_.get(), nullptr, nullptr);
    pulse().context_disconnect(context_.get());
    context_.reset();
}

void kx::PulseBackend::heardState() noexcept
{
    const pa_context_state_t state = pulse().context_get_state(context_.get());
    if (state == PA_CONTEXT_READY) {
        constexpr auto kEvents = static_cast<pa_subscription_mask_t>(
            PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE | PA_SUBSCRIPTION_MASK_SERVER);
        if (pa_operation *ignored = pulse().context_subscribe(context_.get(), kEvents, nullptr, nullptr))
            pulse().operation_unref(ignored);
        runLogged(kLabel, [this] { ask(); });
    } else if (!PA_CONTEXT_IS_GOOD(state)) {
        inquiry_.reset();
        ++refusals_;
        reconnectLater();
        runLogged(kLabel, [this] { take({}); });
    }
    changed_.raise();
}

void kx::PulseBackend::ask()
{
    mustAskAgain_ = inquiry_ != nullptr;
    if (mustAskAgain_)
        return;
    inquiry_ = std::make_unique<PulseInquiry>(context_.get(), [this](PulseDevices devices) {
        inquiry_.reset();
        hasAnswered_ = true;
        refusals_ = 0;
        backoff_.reset();
        take(std::move(devices));
        changed_.raise();
        if (std::exchange(mustAskAgain_, false))
            ask();
    });
}

std::chrono::milliseconds kx::PulseBackend::nextDelay() noexcept
{
    if (!hasAnswered_ && Clock::now() - begin_ < kAnswerTime)
        return kFirstDelay; // one refusal is no proof that there is no server
    return backoff_.next();
}

void kx::PulseBackend::reconnectLater()
{
    if (timer_ != nullptr)
        return;
    const auto delay = std::chrono::microseconds(nextDelay());
    timer_ = pulse().context_rttime_new(
        context_.get(), pulse().rtclock_now() + static_cast<pa_usec_t>(delay.count()),
        [](pa_mainloop_api *, pa_time_event *, const timeval *, void *self) noexcept {
            static_cast<PulseBackend *>(self)->connect();
        },
        this);
}

void kx::PulseBackend::cancelTimer() noexcept
{
    if (timer_ != nullptr)
        loop_->api()->time_free(timer_);
    timer_ = nullptr;
}

void kx::PulseBackend::take(PulseDevices devices)
{
    {
        const std::lock_guard guard(lock_);
        devices_ = std::move(devices);
    }
    teller_.tell();
}

kx::HardwareState kx::PulseBackend::state() const
{
    const std::lock_guard guard(lock_);
    return devices_.state;
}

void kx::PulseBackend::setChangeHandler(std::function<void()> handler)
{
    teller_.setHandler(std::move(handler));
}

std::optional<kx::PulseFormat> kx::PulseBackend::formatOf(const std::string &uid) const
{
    const std::lock_guard guard(lock_);
    const auto found = devices_.sinkFormats.find(uid);
    return found == devices_.sinkFormats.end() ? std::nullopt : std::optional(found->second);
}

kx::StatusOr<std::unique_ptr<kx::OutputStream>> kx::PulseBackend::openOutput(const std::string &uid,
                                                                             uint32_t sliceFrames)
{
    const std::optional<PulseFormat> format = formatOf(uid);
    if (!format)
        return kAudioHardwareBadDeviceError;
    std::unique_ptr<PulseStream> stream;
    {
        const PulseLoop::Lock lock(*loop_);
        if (!context_ || pulse().context_get_state(context_.get()) != PA_CONTEXT_READY)
            return kAudioHardwareNotRunningError;
        stream = std::make_unique<PulseStream>(loop_, context_.get(), uid, *format, std::max(sliceFrames, 1u));
    }
    if (const OSStatus status = stream->waitUntilReady(); status != noErr)
        return status;
    return std::unique_ptr<OutputStream>(std::move(stream));
}

std::unique_ptr<kx::HardwareBackend> kx::makePulseBackend()
{
    const auto deadline = Clock::now() + kAnswerTime;
    std::shared_ptr<PulseLoop> loop = PulseLoop::start();
    if (!loop)
        return nullptr;
    auto backend = std::make_unique<PulseBackend>(std::move(loop));
    backend->waitUntilAnswered(deadline);
    return backend;
}
