#pragma once

#include <ogg/ogg.h>

namespace kx
{

/// Whether the code books of a Vorbis setup header are of a size that sound needs. A few bytes can ask for gigabytes,
/// which libvorbis would take. [any]
[[nodiscard]] bool hasModestCodeBooks(const ogg_packet &setup) noexcept;

} // namespace kx
