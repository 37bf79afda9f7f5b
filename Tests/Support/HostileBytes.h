/// @file
/// Bytes put together and broken, and what has to hold for a decoder of any of them.
#pragma once

#include "Tests/Support/MemorySource.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kx::test
{

using OpenDecoder = DecoderResult (*)(std::shared_ptr<ByteSource>);
using Bytes = std::vector<uint8_t>;

Bytes bytesOf(std::string_view text);
Bytes operator+(Bytes a, const Bytes &b);
/// Bytes `begin` to `end` of them.
Bytes part(const Bytes &bytes, std::size_t begin, std::size_t end = SIZE_MAX);
Bytes repeated(const Bytes &bytes, std::size_t copies);
/// Where the text stands first, which must be there.
std::size_t placeOf(std::string_view text, const Bytes &bytes);
/// The bytes with a number of `count` bytes written over those at `at`.
Bytes withBig(Bytes bytes, std::size_t at, uint64_t value, std::size_t count);
Bytes withLittle(Bytes bytes, std::size_t at, uint64_t value, std::size_t count);

DecoderResult openBytes(OpenDecoder open, Bytes bytes);
/// All the sound of a file that opens.
std::vector<float> decoded(OpenDecoder open, Bytes bytes);

/// Opens and reads the bytes: either a status, or a decoder that delivers the length it announces, from its start and
/// after a seek. Fails the running test otherwise.
void expectHonestDecoder(OpenDecoder open, const Bytes &bytes);

/// Calls `use` with `copies` copies in each of which a few random bytes of the first `range` bytes are changed.
void forEachFlip(const Bytes &bytes, std::size_t range, int copies, const std::function<void(const Bytes &)> &use);

} // namespace kx::test
