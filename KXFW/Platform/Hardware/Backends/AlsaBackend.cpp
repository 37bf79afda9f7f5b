#include "KXFW/Platform/Hardware/Backends/AlsaBackend.h"

#include <algorithm>

namespace
{

bool hasDevice(const kx::HardwareState &state, const std::string &uid)
{
    return std::ranges::find(state.devices, uid, &kx::DeviceInfo::uid) != state.devices.end();
}

std::unique_ptr<kx::HardwareBackend> makeOfChoice(kx::AlsaChoice choice)
{
    if (!kx::AlsaLibrary::load())
        return nullptr;
    // The second does not exist before there is a card.
    return std::make_unique<kx::AlsaBackend>(choice, std::vector<std::string>{"/dev", "/dev/snd"});
}

} // namespace

kx::AlsaBackend::AlsaBackend(AlsaChoice choice, std::vector<std::string> folders)
    : choice_(choice), state_(alsaDevices(choice)), watch_(std::move(folders), [this] { listAgain(); })
{
}

void kx::AlsaBackend::listAgain()
{
    HardwareState now = alsaDevices(choice_);
    {
        const std::lock_guard guard(lock_);
        state_ = std::move(now);
        for (const auto &[device, stream] : streams_)
            if (const auto end = stream.lock(); end && !hasDevice(state_, device))
                end->lose(kAudioHardwareBadDeviceError);
    }
    teller_.tell();
}

kx::HardwareState kx::AlsaBackend::state() const
{
    const std::lock_guard guard(lock_);
    return state_;
}

void kx::AlsaBackend::setChangeHandler(std::function<void()> handler)
{
    teller_.setHandler(std::move(handler));
}

kx::StatusOr<std::unique_ptr<kx::OutputStream>> kx::AlsaBackend::openOutput(const std::string &uid,
                                                                            uint32_t sliceFrames)
{
    if (!hasDevice(state(), uid))
        return kAudioHardwareBadDeviceError;
    auto stream = AlsaStream::open(uid, std::max(sliceFrames, 1u));
    if (!stream)
        return stream.status();
    const std::lock_guard guard(lock_);
    if (!hasDevice(state_, uid))
        return kAudioHardwareBadDeviceError; // it has gone meanwhile
    std::erase_if(streams_, [](const auto &open) { return open.second.expired(); });
    streams_.emplace_back(uid, (*stream)->end());
    return std::unique_ptr<OutputStream>(*std::move(stream));
}

std::unique_ptr<kx::HardwareBackend> kx::makeAlsaBackend()
{
    return makeOfChoice(AlsaChoice::All);
}

std::unique_ptr<kx::HardwareBackend> kx::makeAlsaCardsBackend()
{
    return makeOfChoice(AlsaChoice::Cards);
}
