#include "KXFW/Platform/Hardware/AudioObject.h"

#include "KXFW/Platform/Hardware/Hardware.h"
#include "KXFW/Platform/Hardware/HardwareService.h"

OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress *address, uint32_t,
                                        const void *, uint32_t *size)
{
    return kx::HardwareService::shared().getSize(object, address, size);
}

OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress *address, uint32_t,
                                    const void *, uint32_t *size, void *data)
{
    return kx::HardwareService::shared().getData(object, address, size, data);
}

OSStatus AudioObjectSetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress *address, uint32_t,
                                    const void *, uint32_t size, const void *data)
{
    return kx::HardwareService::shared().setData(object, address, size, data);
}

OSStatus AudioObjectAddPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress *address,
                                        AudioObjectPropertyListenerProc listener, void *clientData)
{
    return kx::HardwareService::shared().addListener(object, address, listener, clientData);
}

OSStatus AudioObjectRemovePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress *address,
                                           AudioObjectPropertyListenerProc listener, void *clientData)
{
    return kx::HardwareService::shared().removeListener(object, address, listener, clientData);
}

kx::Result<std::unique_ptr<kx::OutputStream>> kx::openOutputStream(AudioObjectID device)
{
    return HardwareService::shared().openOutputStream(device);
}
