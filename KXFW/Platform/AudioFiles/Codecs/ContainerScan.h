#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"

namespace kx
{

/// The containers of plain samples and their kin, told by their first bytes.
enum class Container { None, RIFF, RIFX, RF64, Wave64, AIFF, CAF, AU };

[[nodiscard]] Container containerOf(ByteSource &source);

/// Limits of a chunked file that hold before a library parses it.
struct ContainerScan {
    OSStatus status;      ///< why it must not be opened, or noErr
    int64_t visibleBytes; ///< how much to show the library: chunks that run past the end, other than the data, left out
    ByteRange zeroed{};   ///< what to show it as zeros: sizes of packets that it would complain of on standard output
};

/// Walks the chunks: sizes must lie in the file, channels and rate within the platform's limits. [blocks]
[[nodiscard]] ContainerScan scanContainer(ByteSource &source, Container container);

} // namespace kx
