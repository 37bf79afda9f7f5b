// Opens the bytes as an audio file, reads it and seeks in it, as an application would.
#include "Fuzz/FuzzTarget.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Module.h"
#include "KXFW/Platform/AudioFiles/FileReader.h"
#include "KXFW/Platform/AudioFiles/OpeningSource.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace
{

using kx::fuzz::require;

constexpr uint32_t kBlockFrames = 1024;
constexpr int kMostBlocks = 16; ///< read straight on

class GivenBytes final : public kx::ByteSource
{
public:
    GivenBytes(const uint8_t *bytes, std::size_t size) : bytes_(bytes), size_(static_cast<int64_t>(size)) {}
    [[nodiscard]] int64_t size() const noexcept override { return size_; }
    int64_t readAt(int64_t offset, void *bytes, int64_t count) noexcept override
    {
        require(offset >= 0 && count >= 0, "reads are of what can be there");
        const int64_t given = std::clamp<int64_t>(size_ - offset, 0, count);
        if (given > 0)
            std::memcpy(bytes, bytes_ + offset, static_cast<std::size_t>(given));
        return given;
    }
    [[nodiscard]] OSStatus error() const noexcept override { return noErr; }

private:
    const uint8_t *bytes_;
    int64_t size_;
};

using OpenedReader = kx::StatusOr<std::unique_ptr<kx::FileReader>>;

/// The MPEG-4 module is linked into this program, so that the fuzzer sees its ways.
OpenedReader openMPEG4Here(const std::shared_ptr<kx::OpeningSource> &source)
{
    kx::Decoder *decoder = nullptr;
    OSStatus status = kxfwOpenMPEG4(kx::kMPEG4ModuleVersion, source.get(), &decoder);
    std::unique_ptr<kx::Decoder> owned(decoder);
    if (const OSStatus limit = source->finish(); limit != noErr)
        status = limit;
    return status == noErr ? kx::FileReader::open(std::move(owned)) : OpenedReader(status);
}

/// Up to a block of frames; empty at the end and after a failure.
std::vector<uint8_t> readBlock(kx::FileReader &reader)
{
    const uint32_t frameBytes = reader.client().mBytesPerFrame;
    std::vector<uint8_t> bytes(std::size_t{kBlockFrames} * frameBytes);
    AudioBufferList list{1, {{reader.client().mChannelsPerFrame, static_cast<uint32_t>(bytes.size()), bytes.data()}}};
    uint32_t frames = kBlockFrames;
    if (reader.read(frames, list) != noErr)
        frames = 0;
    require(frames <= kBlockFrames, "no more than asked is read");
    bytes.resize(std::size_t{frames} * frameBytes);
    return bytes;
}

void readAndSeek(kx::FileReader &reader)
{
    const int64_t length = reader.format().frames;
    const auto first = readBlock(reader);
    for (int block = 1; block < kMostBlocks && !readBlock(reader).empty(); ++block)
        require(reader.tell() <= length, "the position stays in the file");
    for (const int64_t frame : {length, length - 1, length / 2, length / 3, int64_t{0}}) {
        if (frame < 0)
            continue;
        require(reader.seek(frame) == noErr, "any frame can be sought");
        const auto block = readBlock(reader);
        require(frame < length || block.empty(), "nothing comes behind the end");
        require(frame > 0 || block == first, "the start sounds as before");
    }
    require(reader.seek(length + 1) != noErr, "no frame behind the end can be sought");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    const auto source = std::make_shared<GivenBytes>(data, size);
    const auto opening = std::make_shared<kx::OpeningSource>(source, std::stop_token());
    auto opened = kx::recognisesMPEG4(*source) ? openMPEG4Here(opening) : kx::FileReader::open(source);
    if (!opened)
        return 0;
    kx::FileReader &reader = **opened;
    const bool isConverted = size % 16 == 0; // the resampler takes most of the time
    if (isConverted)
        require(reader.setClient(kx::interleaved(44100, 2, 16, kAudioFormatFlagIsSignedInteger)) == noErr,
                "every file can be read in the standard format");
    readAndSeek(reader);
    return 0;
}
