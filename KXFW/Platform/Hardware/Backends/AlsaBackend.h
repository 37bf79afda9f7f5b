#pragma once

#include "KXFW/Platform/Hardware/Backends/AlsaDevices.h"
#include "KXFW/Platform/Hardware/Backends/AlsaStream.h"
#include "KXFW/Platform/Hardware/Backends/ChangeTeller.h"
#include "KXFW/Platform/Hardware/Backends/FolderWatch.h"
#include "KXFW/Platform/Hardware/HardwareBackend.h"

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace kx
{

/// The sound cards of the machine, without a server between. ALSA itself tells of no change: the devices are listed
/// anew whenever the folder changes in which the system has their nodes.
class AlsaBackend final : public HardwareBackend
{
public:
    /// The library is loaded. `folders` are those to watch, a parent before its children.
    AlsaBackend(AlsaChoice choice, std::vector<std::string> folders);

    [[nodiscard]] HardwareState state() const override;
    void setChangeHandler(std::function<void()> handler) override;
    StatusOr<std::unique_ptr<OutputStream>> openOutput(const std::string &uid, uint32_t sliceFrames) override;

private:
    void listAgain();

    const AlsaChoice choice_;
    mutable std::mutex lock_; ///< guards the next two
    HardwareState state_;
    std::vector<std::pair<std::string, std::weak_ptr<StreamEnd>>> streams_; ///< those to each device
    ChangeTeller teller_{"KXFW alsa"};
    FolderWatch watch_; ///< goes first: its thread uses the rest
};

} // namespace kx
