/// @file
/// Extended audio files: reading any supported file converted to one client format, and writing AIFF and WAVE files.
///
/// One file is used by one thread at a time; different files are independent. Every call gives a status: noErr, or one
/// of the kExtAudioFileError_ and kAudioFile statuses of Status.h.
#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Foundation/Status.h"

#include <filesystem>
#include <stop_token>

/// An open file. Made by ExtAudioFileOpenURL or ExtAudioFileCreateWithURL, owned by the caller, ended by
/// ExtAudioFileDispose.
using ExtAudioFileRef = struct OpaqueExtAudioFile *;
using ExtAudioFilePropertyID = uint32_t;
using AudioFileTypeID = uint32_t;

inline constexpr ExtAudioFilePropertyID kExtAudioFileProperty_FileDataFormat = kx::fourCharCode("ffmt");
inline constexpr ExtAudioFilePropertyID kExtAudioFileProperty_ClientDataFormat = kx::fourCharCode("cfmt");
inline constexpr ExtAudioFilePropertyID kExtAudioFileProperty_ClientChannelLayout = kx::fourCharCode("cclo");
inline constexpr ExtAudioFilePropertyID kExtAudioFileProperty_FileLengthFrames = kx::fourCharCode("#frm");

inline constexpr AudioFileTypeID kAudioFileAIFFType = kx::fourCharCode("AIFF");
inline constexpr AudioFileTypeID kAudioFileWAVEType = kx::fourCharCode("WAVE");

enum : uint32_t {
    kAudioFileFlags_EraseFile = 1, ///< replace a file that exists; without it an existing file is an error
};

/// Opens a regular file of at most 64 channels and 1,000 to 768,000 frames a second for reading; the kind of file is
/// told by its content. The client format starts as the file's own layout in native floats. Any thread may end the
/// opening by `stop`: it then gives kAudioFileOpeningCancelledError, and does so before it reads on. [any] [blocks]
///
/// Opening works within limits, so that a file made to waste time is refused with kAudioFileInvalidFileError: it reads
/// at most four times the file's length and 16 MiB more, and takes at most a second of processor time for every 32 MiB
/// of the file and half a second more.
KX_EXPORT OSStatus ExtAudioFileOpenURL(const std::filesystem::path &url, ExtAudioFileRef *file,
                                       std::stop_token stop = {});

/// Creates an AIFF or WAVE file in the linear format `format`. The bytes go to a file without a name in the folder of
/// `url`, or a hidden one where the file system has no such files; it takes the name of `url` when it is disposed of.
/// Until then, and if anything fails, what is at `url` stays as it was. A link is followed; only a regular file is
/// replaced, and its mode is kept. `layout` may be null. [any] [blocks]
KX_EXPORT OSStatus ExtAudioFileCreateWithURL(const std::filesystem::path &url, AudioFileTypeID type,
                                             const AudioStreamBasicDescription *format,
                                             const AudioChannelLayout *layout, uint32_t flags, ExtAudioFileRef *file);

/// Closes the file and frees it, whatever the status. A file being written is completed and takes its place; if that
/// fails, or a write failed before, it is removed and the status says why. [any] [blocks]
KX_EXPORT OSStatus ExtAudioFileDispose(ExtAudioFileRef file);

/// Throws away a file being written: nothing is left of it and what was at its place stays. Frees `file`; one opened
/// for reading is just closed. [any] [blocks]
KX_EXPORT OSStatus ExtAudioFileAbandon(ExtAudioFileRef file);

/// Reads `frames` frames in the client format into `data`, whose buffers must have room for them; `frames` comes back
/// as the number delivered, fewer than asked only at the end of the file, down to 0; a file that ends before its
/// announced length gives kAudioFileReadError there. Byte sizes in `data` are set to what was filled. [any] [blocks]
KX_EXPORT OSStatus ExtAudioFileRead(ExtAudioFileRef file, uint32_t *frames, AudioBufferList *data);

/// Whether a read that its thread's deadline gave up (kx::DiskDeadline, kAudioFileNotRespondingError) is still under
/// way: until it is over, further ones with a deadline are given up at once. [any] [render]
KX_EXPORT bool ExtAudioFileIsHeldUp(ExtAudioFileRef file);

/// Converts `frames` frames from the client format and appends them. Refused whole, with kAudioFileTooLargeError, when
/// the file would pass 4 GiB. [any] [blocks]
KX_EXPORT OSStatus ExtAudioFileWrite(ExtAudioFileRef file, uint32_t frames, const AudioBufferList *data);

/// Moves to file frame `frame`, in the file's own rate: 0 to the length. The next client frame read is number
/// ceil(frame x client rate / file rate) of the straight conversion of the whole file. [any] [blocks]
KX_EXPORT OSStatus ExtAudioFileSeek(ExtAudioFileRef file, int64_t frame);

/// The position in the file's own frames: what was last sought, later trunc(next client frame x file rate / client
/// rate). [any]
KX_EXPORT OSStatus ExtAudioFileTell(ExtAudioFileRef file, int64_t *frame);

/// Reads 'ffmt' and 'cfmt' (40 bytes each), '#frm' (8 bytes). `size` is the room, and comes back as the bytes given.
/// [any]
KX_EXPORT OSStatus ExtAudioFileGetProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property, uint32_t *size,
                                           void *data);

/// Sets 'cfmt' (linear PCM, any sample type, rate and channel count) or 'cclo' (tag 0 with a bitmap that names as many
/// channels as the client format, or none; or a tag for that many channels). [any]
KX_EXPORT OSStatus ExtAudioFileSetProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property, uint32_t size,
                                           const void *data);

/// The largest data, in bytes, that a file of `type` holds beside its headers. [any]
KX_EXPORT int64_t ExtAudioFileMaximumDataBytes(AudioFileTypeID type);
