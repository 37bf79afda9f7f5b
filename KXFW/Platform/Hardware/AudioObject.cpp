#include "KXFW/Platform/Hardware/AudioObject.h"

#include "KXFW/Platform/Hardware/Hardware.h"
#include "KXFW/Platform/Hardware/HardwareService.h"

namespace
{

/// Nothing is thrown through this interface: no memory, or no thread, is a status too.
template <class Question> OSStatus answered(Question question) noexcept
{
    try {
        return question();
    } catch (...) {
        return kAudioHardwareUnspecifiedError;
    }
}

} // namespace

OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress *address, uint32_t,
                                        const void *, uint32_t *size)
{
    return answered([&] { return kx::HardwareService::shared().getSize(object, address, size); });
}

OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress *address, uint32_t,
                                    const void *, uint32_t *size, void *data)
{
    return answered([&] { return kx::HardwareService::shared().getData(object, address, size, data); });
}

OSStatus AudioObjectSetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress *address, uint32_t,
                                    const void *, uint32_t size, const void *data)
{
    return answered([&] { return kx::HardwareService::shared().setData(object, address, size, data); });
}

OSStatus AudioObjectAddPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress *address,
                                        AudioObjectPropertyListenerProc listener, void *clientData)
{
    return answered([&] { return kx::HardwareService::shared().addListener(object, address, listener, clientData); });
}

OSStatus AudioObjectRemovePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress *address,
                                           AudioObjectPropertyListenerProc listener, void *clientData)
{
    return answered(
        [&] { return kx::HardwareService::shared().removeListener(object, address, listener, clientData); });
}

kx::StatusOr<std::unique_ptr<kx::OutputStream>> kx::openOutputStream(AudioObjectID device)
{
    return HardwareService::shared().openOutputStream(device);
}
