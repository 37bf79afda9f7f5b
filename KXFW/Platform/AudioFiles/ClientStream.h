#pragma once

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"
#include "KXFW/Platform/AudioFiles/FrameMath.h"
#include "KXFW/Platform/AudioFiles/Planes.h"
#include "KXFW/Platform/Conversion/ChannelMix.h"
#include "KXFW/Platform/Conversion/RateConverter.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace kx
{

/// A decoder's frames in the client format: sample type, channels and rate converted. Frame n is always the same frame,
/// whether it was reached by reading on or by a move.
///
/// More channels than the client has are folded before the rate conversion, fewer are spread after it. Equal 16-bit
/// formats go from the decoder straight into the client's memory. All scratch memory is made in `make`. One thread at a
/// time; borrows the decoder, which must outlive it.
class ClientStream
{
public:
    /// `client` has been checked. [any]
    static StatusOr<std::unique_ptr<ClientStream>> make(Decoder &decoder, const AudioStreamBasicDescription &client);

    /// The next frame read is client frame `frame`, 0 to `length`. [blocks]
    OSStatus moveTo(int64_t frame);

    /// Fills frames `first` to `first + frames` of `out`: how many were made, fewer only at the end. Fails only if none
    /// was made. [blocks]
    StatusOr<uint32_t> read(AudioBufferList &out, uint32_t first, uint32_t frames);

    [[nodiscard]] const AudioStreamBasicDescription &client() const noexcept { return client_; }
    [[nodiscard]] const FrameMath &frameMath() const noexcept { return math_; }
    /// Client frames in all. [any]
    [[nodiscard]] int64_t length() const noexcept { return math_.outFloor(decoder_.format().frames); }

private:
    ClientStream(Decoder &decoder, const AudioStreamBasicDescription &client);
    OSStatus makeConverters();

    StatusOr<uint32_t> readDirect(AudioBufferList &out, uint32_t first, uint32_t frames);
    StatusOr<uint32_t> readBlock(AudioBufferList &out, uint32_t first, uint32_t frames);
    StatusOr<uint32_t> readConverted(AudioBufferList &out, uint32_t first, uint32_t frames);
    StatusOr<uint32_t> decodeBlock(uint32_t frames);
    OSStatus refill();
    void deliver(float *const *planes, uint32_t frames, AudioBufferList &out, uint32_t first);

    Decoder &decoder_;
    AudioStreamBasicDescription client_;
    FrameMath math_;
    uint32_t fileChannels_;
    uint32_t inChannels_; ///< after folding
    bool direct_;
    bool swapDirect_ = false;

    std::optional<ChannelMix> fold_;
    std::optional<ChannelMix> spread_;
    std::unique_ptr<RateConverter> rate_;
    std::unique_ptr<std::byte[]> decoded_; ///< interleaved, as the decoder gives them
    Planes filePlanes_;
    Planes foldedPlanes_;
    Planes ratedPlanes_;
    Planes spreadPlanes_;

    // Rate conversion: what of the current block is still to be fed, and the output to be dropped after a move.
    uint32_t blockFrames_ = 0;
    uint32_t blockUsed_ = 0;
    bool inputEnded_ = false;
    int64_t drop_ = 0;
};

} // namespace kx
