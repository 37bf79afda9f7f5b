#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"

namespace kx
{

/// The frame at which the last page of an Ogg stream of `frames` frames starts, or 0 if it cannot be told. The pages
/// before it end on whole blocks, so positions in them can be counted back from their ends; the last one is cut to
/// length. [any] [blocks]
[[nodiscard]] int64_t lastOggPageStart(ByteSource &source, int64_t frames);

} // namespace kx
