/// MPEG-4 files by the module that knows them. The module and the libraries behind it are loaded when the first such
/// file is opened, and stay.
#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Module.h"
#include "KXFW/Platform/Foundation/LoadableModule.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <array>
#include <cstring>
#include <mutex>
#include <string>

namespace kx
{

namespace
{

/// Null if it is not there; looked for again the next time.
MPEG4ModuleOpen module()
{
    static std::mutex mutex;
    static MPEG4ModuleOpen open = nullptr;
    const std::lock_guard lock(mutex);
    std::string failure;
    if (open == nullptr)
        open = reinterpret_cast<MPEG4ModuleOpen>(loadModuleEntry(kMPEG4ModuleFile, kMPEG4ModuleEntry, failure));
    if (open == nullptr)
        NSLog("MPEG-4 files cannot be read: %@", failure);
    return open;
}

/// The module's decoder with the file that it borrows.
class ModuleDecoder final : public Decoder
{
public:
    ModuleDecoder(std::shared_ptr<ByteSource> source, std::unique_ptr<Decoder> decoder)
        : source_(std::move(source)), decoder_(std::move(decoder))
    {
    }
    [[nodiscard]] const DecodedFormat &format() const noexcept override { return decoder_->format(); }
    StatusOr<uint32_t> read(void *interleaved, uint32_t frames) override { return decoder_->read(interleaved, frames); }
    OSStatus seek(int64_t frame) override { return decoder_->seek(frame); }

private:
    std::shared_ptr<ByteSource> source_; // outlives decoder_
    std::unique_ptr<Decoder> decoder_;
};

} // namespace

bool recognisesMPEG4(ByteSource &source)
{
    std::array<uint8_t, 8> head{};
    return source.readAt(0, head.data(), 8) == 8 && std::memcmp(&head[4], "ftyp", 4) == 0;
}

bool isMPEG4Installed()
{
    return !findModule(kMPEG4ModuleFile).empty();
}

DecoderResult openMPEG4(std::shared_ptr<ByteSource> source)
{
    const MPEG4ModuleOpen open = module();
    if (open == nullptr)
        return kAudioFileUnsupportedFileTypeError;
    Decoder *decoder = nullptr;
    const OSStatus status = open(kMPEG4ModuleVersion, source.get(), &decoder);
    if (status != noErr)
        return status;
    return DecoderResult(std::make_unique<ModuleDecoder>(std::move(source), std::unique_ptr<Decoder>(decoder)));
}

} // namespace kx
