/// @file
/// The public interface of libKXFW: the player and its parts, the audio services they stand on, and the version.
#pragma once

#include "KXFW/Audio/KXAData.h"
#include "KXFW/Audio/KXAFilePlayer.h"
#include "KXFW/Audio/KXAFilePlayerCallbacks.h"
#include "KXFW/Audio/KXAFilePlayerDataSource.h"
#include "KXFW/Audio/KXAFiledAudioData2.h"
#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Audio/KXAPlayerParam.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Audio/KXFWVersion.h"
#include "KXFW/Audio/KXRingBuffer.h"
#include "KXFW/Audio/StatusAssertion.h"
#include "KXFW/Platform/AudioFiles/ExtendedAudioFile.h"
#include "KXFW/Platform/AudioUnits/AudioUnit.h"
#include "KXFW/Platform/Dispatch/MainQueue.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Foundation/NSLog.h"
#include "KXFW/Platform/Foundation/NSNotificationCenter.h"
#include "KXFW/Platform/Hardware/AudioObject.h"
#include "KXFW/Platform/Hardware/VirtualHardware.h"
