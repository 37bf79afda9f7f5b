#include "KXFW/Platform/Hardware/HardwareService.h"

#include "KXFW/Platform/Hardware/Backends/BackendTable.h"
#include "KXFW/Platform/Hardware/PropertyValue.h"

#include <algorithm>
#include <cstring>
#include <utility>

kx::HardwareService &kx::HardwareService::shared()
{
    static auto *const service = new HardwareService(makeBackend());
    return *service;
}

kx::HardwareService::HardwareService(std::unique_ptr<HardwareBackend> backend, Pace pace)
    : pace_(pace), backend_(std::move(backend))
{
    backend_->setChangeHandler([this] { refresh(); });
    const std::lock_guard guard(lock_);
    table_.update(backend_->state());
    noted_ = table_.snapshot();
}

kx::HardwareService::~HardwareService()
{
    const std::lock_guard guard(lock_);
    isClosing_ = true;
    tellAtHasMoved_.notify_all();
}

OSStatus kx::HardwareService::getSize(AudioObjectID object, const AudioObjectPropertyAddress *address,
                                      uint32_t *size) const
{
    if (address == nullptr || size == nullptr)
        return kAudioHardwareIllegalOperationError;
    const std::lock_guard guard(lock_);
    const StatusOr<PropertyValue> value = propertyValue(table_.snapshot(), object, *address);
    if (value)
        *size = static_cast<uint32_t>((*value).bytes.size());
    return value.status();
}

OSStatus kx::HardwareService::getData(AudioObjectID object, const AudioObjectPropertyAddress *address, uint32_t *size,
                                      void *data) const
{
    if (address == nullptr || size == nullptr || data == nullptr)
        return kAudioHardwareIllegalOperationError;
    const std::lock_guard guard(lock_);
    const StatusOr<PropertyValue> value = propertyValue(table_.snapshot(), object, *address);
    return value ? copyValue(*value, *size, data) : value.status();
}

OSStatus kx::HardwareService::setData(AudioObjectID object, const AudioObjectPropertyAddress *address, uint32_t size,
                                      const void *data)
{
    if (address == nullptr || data == nullptr)
        return kAudioHardwareIllegalOperationError;
    const std::lock_guard guard(lock_);
    if (const OSStatus status = checkProperty(table_.snapshot(), object, *address); status != noErr)
        return status;
    const bool isBufferSize = address->mSelector == kAudioDevicePropertyBufferSize;
    if (!isBufferSize && address->mSelector != kAudioHardwarePropertySleepingIsAllowed)
        return kAudioHardwareIllegalOperationError;
    uint32_t value = 0;
    if (size != sizeof value)
        return kAudioHardwareBadPropertySizeError;
    std::memcpy(&value, data, sizeof value);
    if (isBufferSize)
        table_.setBufferBytes(object, value);
    else
        table_.setSleepingIsAllowed(value != 0);
    scheduleTelling(Clock::now());
    return noErr;
}

OSStatus kx::HardwareService::addListener(AudioObjectID object, const AudioObjectPropertyAddress *address,
                                          AudioObjectPropertyListenerProc listener, void *clientData)
{
    if (address == nullptr || listener == nullptr)
        return kAudioHardwareIllegalOperationError;
    {
        const std::lock_guard guard(lock_);
        if (const OSStatus status = checkProperty(table_.snapshot(), object, *address); status != noErr)
            return status;
    }
    listeners_.add({object, *address, listener, clientData});
    return noErr;
}

OSStatus kx::HardwareService::removeListener(AudioObjectID object, const AudioObjectPropertyAddress *address,
                                             AudioObjectPropertyListenerProc listener, void *clientData)
{
    if (address == nullptr || listener == nullptr)
        return kAudioHardwareIllegalOperationError;
    listeners_.remove({object, *address, listener, clientData});
    return noErr;
}

kx::StatusOr<std::unique_ptr<kx::OutputStream>> kx::HardwareService::openOutputStream(AudioObjectID id)
{
    std::string uid;
    uint32_t sliceFrames = 0;
    {
        const std::lock_guard guard(lock_);
        const DeviceEntry *device = table_.snapshot().find(id);
        if (device == nullptr || !device->info.hasOutput)
            return kAudioHardwareBadDeviceError;
        uid = device->info.uid;
        sliceFrames = device->bufferBytes / std::max(device->info.format.mBytesPerFrame, 1u);
    }
    return backend_->openOutput(uid, sliceFrames);
}

void kx::HardwareService::refresh()
{
    const std::lock_guard guard(lock_);
    table_.update(backend_->state());
    scheduleTelling(Clock::now() + pace_.rest);
}

/// A property that changed and changed back is told too: a listener may have met the value between.
void kx::HardwareService::scheduleTelling(Clock::time_point time)
{
    const auto changes = differences(noted_, table_.snapshot());
    noted_ = table_.snapshot();
    for (const PropertyChange &change : changes)
        if (std::ranges::find(untold_, change) == untold_.end())
            untold_.push_back(change);
    table_.setChangesAreUntold(table_.snapshot().changesAreUntold || !changes.empty());
    const auto now = Clock::now();
    if (changes.empty() || (tellingIsScheduled_ && tellAt_ <= now))
        return; // what is due takes these with it
    if (!tellingIsScheduled_) {
        notifications_.async([this] { tellChanges(); });
        tellingIsScheduled_ = true;
        firstUntold_ = now;
    }
    tellAt_ = std::min(time, firstUntold_ + pace_.longest);
    tellAtHasMoved_.notify_all();
}

void kx::HardwareService::tellChanges()
{
    std::vector<PropertyChange> changes;
    {
        std::unique_lock guard(lock_);
        while (!isClosing_ && Clock::now() < tellAt_)
            tellAtHasMoved_.wait_until(guard, Clock::time_point(tellAt_));
        tellingIsScheduled_ = false;
        changes = std::exchange(untold_, {});
    }
    for (const PropertyChange &change : changes)
        listeners_.tell(change.object, change.selector);
    const std::lock_guard guard(lock_);
    table_.setChangesAreUntold(!untold_.empty());
}
