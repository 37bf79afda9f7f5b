/// @file
/// The way into the LV2 module: one C entry point with a version; pure interfaces and plain values cross it.
#pragma once

#include "KXFW/Platform/AudioUnits/LV2Plugins.h"
#include "KXFW/Platform/Foundation/Export.h"

#include <cstdint>

namespace kx
{

/// Grows with every change of LV2Plugins.h, RenderStage.h or of the entry point.
inline constexpr uint32_t kLV2ModuleVersion = 1;
inline constexpr char kLV2ModuleFile[] = "kxfw-lv2.so";
inline constexpr char kLV2ModuleEntry[] = "kxfwLV2Plugins";

using LV2ModuleEntry = LV2Plugins *(*)(uint32_t version);

} // namespace kx

/// What is installed, looked for at the first call; lives as long as the process. Null for a caller of another version,
/// and where memory is short. Never throws. [any] [blocks]
extern "C" KX_EXPORT kx::LV2Plugins *kxfwLV2Plugins(uint32_t version);
