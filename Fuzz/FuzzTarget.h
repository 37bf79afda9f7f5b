/// @file
/// A fuzz target: one function that takes bytes and must come back whatever they are. libFuzzer finds the bytes, or
/// gives it the kept ones, as a test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size);

namespace kx::fuzz
{

/// Ends the process with a finding unless `holds`.
inline void require(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "broken promise: %s\n", what);
    std::abort();
}

} // namespace kx::fuzz
