/// @file
/// The way into the MPEG-4 module: one C entry point with a version; pure interfaces and plain numbers cross it.
#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"
#include "KXFW/Platform/Foundation/Export.h"

#include <cstdint>

namespace kx
{

/// Grows with every change of Decoder.h or of the entry point.
inline constexpr uint32_t kMPEG4ModuleVersion = 1;
inline constexpr char kMPEG4ModuleFile[] = "kxfw-mpeg4.so";
inline constexpr char kMPEG4ModuleEntry[] = "kxfwOpenMPEG4";

using MPEG4ModuleOpen = OSStatus (*)(uint32_t version, ByteSource *source, Decoder **decoder);

} // namespace kx

/// Opens the file in `source`, which must outlive the decoder. On success `*decoder` belongs to the caller, who deletes
/// it. kAudioFileUnsupportedFileTypeError for a caller of another version. Never throws. [any] [blocks]
extern "C" KX_EXPORT OSStatus kxfwOpenMPEG4(uint32_t version, kx::ByteSource *source, kx::Decoder **decoder);
