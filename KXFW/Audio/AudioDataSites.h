/// @file
/// The status checks of the audio data, as the reasons of their exceptions name them: "FUNCTION:LINE". Logs hold these
/// texts, and programs may look for them, so each check keeps the one that it was given first. The numbers are names:
/// they do not follow the lines of the sources.
#pragma once

#include "KXFW/Audio/StatusAssertion.h"

namespace kx::audioDataSites
{

// Opening and closing.
inline constexpr StatusSite kOpen{"-[KXAFiledAudioData2 prepareForRead]", 238};
inline constexpr StatusSite kSetClientFormat{"-[KXAFiledAudioData2 prepareForRead]", 252};
inline constexpr StatusSite kSetChannelLayout{"-[KXAFiledAudioData2 prepareForRead]", 265};
inline constexpr StatusSite kClose{"-[KXAFiledAudioData2 _finalize]", 369};

// What the file tells of itself.
inline constexpr StatusSite kAskLength{"-[KXAFiledAudioData2 _ensureFileLengthFrames]", 294};
inline constexpr StatusSite kAskFormat{"-[KXAFiledAudioData2 _ensureFileDataFormat]", 314};
inline constexpr StatusSite kTell{"-[KXAFiledAudioData2 tell]_block_invoke", 226};

// Reading through the ring.
inline constexpr StatusSite kPrereadFrames{"-[KXAFiledAudioData2 prereadFrames:]_block_invoke", 97};
inline constexpr StatusSite kPrereadBridge{"-[KXAFiledAudioData2 _preread]_block_invoke", 152};
inline constexpr StatusSite kSeek{"-[KXAFiledAudioData2 seek:]_block_invoke", 212};

// Reading past the ring.
inline constexpr StatusSite kCopyAskFormat{"-[KXAFiledAudioData2 copyToBuffer:startingByte:numBytes:]", 335};
inline constexpr StatusSite kCopyTell{"-[KXAFiledAudioData2 copyToBuffer:startingByte:numBytes:]", 340};
inline constexpr StatusSite kCopySeek{"-[KXAFiledAudioData2 copyToBuffer:startingByte:numBytes:]", 346};
inline constexpr StatusSite kCopyRead{"-[KXAFiledAudioData2 copyToBuffer:startingByte:numBytes:]", 357};

} // namespace kx::audioDataSites
