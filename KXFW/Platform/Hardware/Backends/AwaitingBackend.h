#pragma once

#include "KXFW/Platform/Hardware/HardwareBackend.h"

#include <atomic>

namespace kx
{

/// A stand-in until the awaited system has a device to play to, be it at once or hours later; from then on the awaited
/// system for good, also while its server is gone: a player then waits for it rather than play to nowhere.
class AwaitingBackend final : public HardwareBackend
{
public:
    AwaitingBackend(std::unique_ptr<HardwareBackend> awaited, std::unique_ptr<HardwareBackend> standIn);

    [[nodiscard]] HardwareState state() const override { return chosen().state(); }
    void setChangeHandler(std::function<void()> handler) override;
    StatusOr<std::unique_ptr<OutputStream>> openOutput(const std::string &uid, uint32_t sliceFrames) override
    {
        return chosen().openOutput(uid, sliceFrames);
    }

private:
    [[nodiscard]] HardwareBackend &chosen() const noexcept { return hasCome_ ? *awaited_ : *standIn_; }
    void look();

    std::atomic<bool> hasCome_ = false;
    std::unique_ptr<HardwareBackend> standIn_;
    std::unique_ptr<HardwareBackend> awaited_; ///< goes first: its handler uses the rest
};

} // namespace kx
