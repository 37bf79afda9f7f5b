#pragma once

#include <cstdint>

namespace kx::test
{

/// While one lives, memory that is allocated begins as bytes of this value: whoever reads what was never written shows
/// it. One at a time; without effect under the sanitizers, which allocate themselves.
class HeapFill
{
public:
    explicit HeapFill(uint8_t byte) noexcept;
    ~HeapFill();
    HeapFill(const HeapFill &) = delete;
    HeapFill &operator=(const HeapFill &) = delete;
};

} // namespace kx::test
