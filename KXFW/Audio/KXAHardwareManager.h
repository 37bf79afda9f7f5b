#pragma once

#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Foundation/NSObject.h"
#include "KXFW/Platform/Hardware/AudioObject.h"

#include <cstdint>
#include <string>

extern "C" {

/// Set to 0 when a manager is made; for the application's own use.
KX_EXPORT extern int8_t gAnyHardwarePropertyIsUpdated KX_SYMBOL(gAnyHardwarePropertyIsUpdated);
/// Four flags for the application's own use; parseUpdatedProperty resets those that hold 1.
KX_EXPORT extern int8_t gHardwarePropertyFlags[4] KX_SYMBOL(gHardwarePropertyFlags);

/// Sends the first address's selector to KXAHardwareManager::handleHardwarePropertyChange; returns 0. [any]
KX_EXPORT OSStatus MyHardwarePropertyListenerProc(AudioObjectID object, uint32_t addressCount,
                                                  const AudioObjectPropertyAddress *addresses, void *clientData)
    KX_SYMBOL(MyHardwarePropertyListenerProc);
}

/// Questions about the computer's audio devices, and listeners of four hardware properties while an instance lives.
///
/// The class operations keep no state and may be called from any thread. Statuses are not reported: a query that fails
/// answers 0, or an empty text. The first call of the process looks for a sound server, for a second at most.
class KX_EXPORT KXAHardwareManager : public NSObject
{
public:
    KXAHardwareManager();           ///< Registers the listeners. [any]
    ~KXAHardwareManager() override; ///< Removes them; no call of them is running afterwards. [any] [blocks]

    static int32_t numberOfDevices();             ///< [any]
    static AudioObjectID defaultInputDeviceID();  ///< 0 where there is none. [any]
    static AudioObjectID defaultOutputDeviceID(); ///< 0 where there is none. [any]
    /// A new array of numberOfDevices() identifiers with a 0 behind the last; the caller frees it with std::free.
    /// Devices come and go between two calls: walk to the 0 rather than to a count taken apart. [any]
    static AudioObjectID *deviceIDs();
    /// The first device of exactly that name, or 0. [any]
    static AudioObjectID deviceIDNamed(const std::string &name);
    static std::string nameOfDeviceID(AudioObjectID device); ///< [any]
    static bool deviceIDIsAlive(AudioObjectID device);       ///< True while the device is present. [any]
    /// A new buffer with a property's value (a C string for 'name'), or null when the query fails; the caller frees it
    /// with std::free. [any]
    static char *cStringPropertyOfDeviceID(AudioObjectID device, AudioObjectPropertySelector ofProperty, bool isInput,
                                           uint32_t forChannel);
    /// The address of a property in any scope and element. [any]
    static AudioObjectPropertyAddress prv_propertyAddressWithPropertyID(AudioObjectPropertySelector property);
    static void handleHardwarePropertyChange(AudioObjectPropertySelector property); ///< Does nothing. [any]

    void registerHardwarePropertyListeners();                                            ///< [any]
    void prv_unregisterHardwarePropertyListeners();                                      ///< [any] [blocks]
    void addMyHardwarePropertyListenerProc(AudioObjectPropertySelector property);        ///< [any]
    void prv_removeMyHardwarePropertyListenerProc(AudioObjectPropertySelector property); ///< [any] [blocks]
    /// Clears the flags that hold 1 and posts "HardwarePropertyChanged", on this thread. [any]
    void parseUpdatedProperty();
};
