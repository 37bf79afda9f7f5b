#pragma once

#include "KXFW/Platform/Dispatch/SerialQueue.h"
#include "KXFW/Platform/Hardware/AudioObject.h"
#include "KXFW/Platform/Hardware/DeviceTable.h"
#include "KXFW/Platform/Hardware/HardwareBackend.h"
#include "KXFW/Platform/Hardware/PropertyListeners.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace kx
{

/// Answers for the hardware objects: the numbers of a backend's devices, their properties and the listeners.
///
/// The backend tells of changes on its own thread or on the thread that made them; what differs since the last time
/// is told to listeners on the notification thread, once the system's changes have come to rest, so that a burst of
/// them is one. What an application sets is told at once, with all that waits. All calls are [any].
class HardwareService
{
public:
    /// When changes of the system are told.
    struct Pace {
        std::chrono::milliseconds rest{50};      ///< after the last one,
        std::chrono::milliseconds longest{1000}; ///< and at the latest after the first one
    };

    /// The one of the process, on the backend that the environment or the machine suggests. Made on first use, which
    /// may take a second for each sound server that hangs, and never destroyed: threads may use it until the process
    /// ends. [any] [blocks]
    static HardwareService &shared();

    explicit HardwareService(std::unique_ptr<HardwareBackend> backend) : HardwareService(std::move(backend), Pace{}) {}
    HardwareService(std::unique_ptr<HardwareBackend> backend, Pace pace);
    /// The listeners must be removed and the streams closed. [blocks]
    ~HardwareService();
    HardwareService(const HardwareService &) = delete;
    HardwareService &operator=(const HardwareService &) = delete;

    OSStatus getSize(AudioObjectID object, const AudioObjectPropertyAddress *address, uint32_t *size) const;
    OSStatus getData(AudioObjectID object, const AudioObjectPropertyAddress *address, uint32_t *size, void *data) const;
    OSStatus setData(AudioObjectID object, const AudioObjectPropertyAddress *address, uint32_t size, const void *data);
    OSStatus addListener(AudioObjectID object, const AudioObjectPropertyAddress *address,
                         AudioObjectPropertyListenerProc listener, void *clientData);
    /// Ends the registration also where the object is gone already. [blocks]
    OSStatus removeListener(AudioObjectID object, const AudioObjectPropertyAddress *address,
                            AudioObjectPropertyListenerProc listener, void *clientData);

    StatusOr<std::unique_ptr<OutputStream>> openOutputStream(AudioObjectID device);

private:
    using Clock = std::chrono::steady_clock;

    /// Takes over the backend's state.
    void refresh();
    /// Has the listeners called at `time`, or before where they wait for an earlier one; with lock_ held.
    void scheduleTelling(Clock::time_point time);
    void tellChanges();

    const Pace pace_;
    mutable std::mutex lock_; ///< guards what follows; held while the backend's state is read, never while it waits
    DeviceTable table_;
    HardwareSnapshot noted_;             ///< the state whose changes are in untold_ or were told
    std::vector<PropertyChange> untold_; ///< each at most once
    bool tellingIsScheduled_ = false;
    Clock::time_point firstUntold_; ///< when the telling was scheduled
    Clock::time_point tellAt_;
    bool isClosing_ = false;                 ///< nobody need wait to tell
    std::condition_variable tellAtHasMoved_; ///< or it is closing

    PropertyListeners listeners_;
    SerialQueue notifications_{"KXFW hardware"};
    std::unique_ptr<HardwareBackend> backend_; ///< goes first: then no more changes come
};

} // namespace kx
