/// @file
/// All of the interface for C++ programmers. It stands on the standard library alone.
#pragma once

#include "kx/AtomicFile.h"
#include "kx/Device.h"
#include "kx/Diagnostics.h"
#include "kx/Effect.h"
#include "kx/Error.h"
#include "kx/Exporter.h"
#include "kx/File.h"
#include "kx/FileWriter.h"
#include "kx/Frames.h"
#include "kx/LV2.h"
#include "kx/Oscillator.h"
#include "kx/Player.h"
#include "kx/Subscription.h"
#include "kx/TimePitch.h"
#include "kx/Version.h"
