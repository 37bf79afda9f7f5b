/// @file
/// Audio files as they are stored, without conversion: what their data takes on the disk.
#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Foundation/Status.h"

#include <filesystem>

/// An open file. Made by AudioFileOpenURL, owned by the caller, ended by AudioFileClose. One thread at a time.
using AudioFileID = struct OpaqueAudioFileID *;
using AudioFilePropertyID = uint32_t;

inline constexpr AudioFilePropertyID kAudioFilePropertyDataFormat = kx::fourCharCode("dfmt");
inline constexpr AudioFilePropertyID kAudioFilePropertyAudioDataByteCount = kx::fourCharCode("bcnt");
inline constexpr AudioFilePropertyID kAudioFilePropertyAudioDataPacketCount = kx::fourCharCode("pcnt");

/// Opens for reading what ExtAudioFileOpenURL opens. [any] [blocks]
KX_EXPORT OSStatus AudioFileOpenURL(const std::filesystem::path &url, AudioFileID *file);

/// Closes the file and frees it. [any] [blocks]
KX_EXPORT OSStatus AudioFileClose(AudioFileID file);

/// Reads 'dfmt' (40 bytes), and for data whose frames all take the same bytes 'bcnt' and 'pcnt' (8 bytes each,
/// unsigned): the bytes and the packets of the audio data. `size` is the room, and comes back as the bytes given. [any]
KX_EXPORT OSStatus AudioFileGetProperty(AudioFileID file, AudioFilePropertyID property, uint32_t *size, void *data);
