#pragma once

#include <cstdint>

namespace kx
{

/// How often the calling thread has asked the C library for memory. Always 0 under a sanitizer, which has an allocator
/// of its own.
uint64_t allocationCount() noexcept;

} // namespace kx
