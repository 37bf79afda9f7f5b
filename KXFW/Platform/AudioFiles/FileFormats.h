/// @file
/// The kinds of audio files that can be opened: for dialogs, file associations and texts.
#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"

#include <string>
#include <vector>

namespace kx
{

/// A way to encode sound, named in a stream format by its mFormatID.
struct SoundEncoding {
    FourCharCode formatID; ///< kAudioFormat...
    std::string name;      ///< for people, such as "AAC"
};

/// A kind of file. What a file holds is told by its content; suffixes and MIME types only help to find files.
struct FileFormat {
    std::string name;                     ///< for people, such as "WAVE"
    std::vector<std::string> suffixes;    ///< in lower case, without a dot; the usual one first
    std::vector<std::string> mimeTypes;   ///< as desktops know them; the usual one first
    std::vector<SoundEncoding> encodings; ///< what the sound of such a file may be encoded in
};

/// The formats that can be opened, each once; what a module reads only while the module is installed. [any] [blocks]
[[nodiscard]] std::vector<FileFormat> fileFormatTable();

/// The name of an encoding for people, also of a module's that is not installed. [any]
[[nodiscard]] std::string encodingName(FourCharCode formatID);

} // namespace kx
