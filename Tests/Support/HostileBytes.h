/// @file
/// Broken copies of a file, and what has to hold for a decoder of any of them.
#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace kx::test
{

using OpenDecoder = DecoderResult (*)(std::shared_ptr<ByteSource>);
using Bytes = std::vector<uint8_t>;

DecoderResult openBytes(OpenDecoder open, Bytes bytes);

/// Opens and reads the bytes: either a status, or a decoder that delivers the length it announces, from its start and
/// after a seek. Fails the running test otherwise, with `what` in the message.
void expectHonestDecoder(OpenDecoder open, const Bytes &bytes, const std::string &what);

/// Calls `use` with copies cut to fewer bytes: every length up to `dense`, then every `step`-th.
void forEachCut(const Bytes &bytes, std::size_t dense, std::size_t step,
                const std::function<void(const Bytes &, const std::string &)> &use);

/// Calls `use` with `copies` copies in each of which a few random bytes of the first `range` bytes are changed.
void forEachFlip(const Bytes &bytes, std::size_t range, int copies,
                 const std::function<void(const Bytes &, const std::string &)> &use);

} // namespace kx::test
