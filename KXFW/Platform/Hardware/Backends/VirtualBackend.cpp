#include "KXFW/Platform/Hardware/Backends/VirtualSystem.h"
#include "KXFW/Platform/Hardware/HardwareBackend.h"

namespace
{

using kx::VirtualPort;
using kx::VirtualSystem;

class VirtualStream final : public kx::OutputStream
{
public:
    explicit VirtualStream(std::shared_ptr<VirtualPort> port) : port_(std::move(port)) {}
    ~VirtualStream() override { VirtualSystem::instance().close(port_); }

    [[nodiscard]] const AudioStreamBasicDescription &format() const noexcept override
    {
        return port_->settings().format;
    }
    kx::StatusOr<uint32_t> waitForRoom() override { return port_->waitForRoom(); }
    OSStatus write(const void *interleaved, uint32_t frames) override;
    void drain() override { port_->drain(); }
    void interrupt() noexcept override { port_->interrupt(); }
    [[nodiscard]] uint64_t underruns() const noexcept override { return port_->underruns(); }
    [[nodiscard]] uint32_t latencyFrames() const noexcept override { return port_->latencyFrames(); }
    [[nodiscard]] uint64_t heardFrames() const noexcept override { return port_->heardFrames(); }

private:
    const std::shared_ptr<VirtualPort> port_;
};

OSStatus VirtualStream::write(const void *interleaved, uint32_t frames)
{
    const VirtualPort::Fate fate = port_->fateOfWrite();
    if (fate == VirtualPort::Fate::Lost)
        return kAudioHardwareBadDeviceError;
    if (fate == VirtualPort::Fate::Cut || frames == 0)
        return noErr;
    const std::size_t bytes = std::size_t{frames} * format().mBytesPerFrame;
    // Before the frames count as taken: who waits for that finds them captured.
    VirtualSystem::instance().capture(port_->settings().deviceName,
                                      {static_cast<const std::byte *>(interleaved), bytes});
    port_->take(frames);
    return noErr;
}

class VirtualBackend final : public kx::HardwareBackend
{
public:
    ~VirtualBackend() override { VirtualSystem::instance().unsubscribe(subscription_); }

    [[nodiscard]] kx::HardwareState state() const override { return VirtualSystem::instance().state(); }

    void setChangeHandler(std::function<void()> handler) override
    {
        subscription_ = VirtualSystem::instance().subscribe(std::move(handler));
    }

    kx::StatusOr<std::unique_ptr<kx::OutputStream>> openOutput(const std::string &uid, uint32_t sliceFrames) override
    {
        auto port = VirtualSystem::instance().open(uid, sliceFrames);
        if (!port)
            return kAudioHardwareBadDeviceError;
        return std::unique_ptr<kx::OutputStream>(std::make_unique<VirtualStream>(std::move(port)));
    }

private:
    uint64_t subscription_ = 0; ///< 0 names none
};

} // namespace

std::unique_ptr<kx::HardwareBackend> kx::makeVirtualBackend()
{
    return std::make_unique<VirtualBackend>();
}
