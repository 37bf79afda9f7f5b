/// MPEG-4 files by the module that knows them. The module and the libraries behind it are loaded when the first such
/// file is opened, and stay.
#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEG4Module/MPEG4Module.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <dlfcn.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <string>

namespace kx
{

namespace
{

/// The folder of the shared object, or of the program, that holds this code. A program is named by its first argument,
/// which need not be a path.
std::filesystem::path findOwnFolder()
{
    static const int here = 0;
    constexpr const char *program = "/proc/self/exe";
    Dl_info info{};
    std::error_code failure;
    const bool isPath = dladdr(&here, &info) != 0 && info.dli_fname != nullptr && std::strchr(info.dli_fname, '/');
    std::filesystem::path object = std::filesystem::canonical(isPath ? info.dli_fname : program, failure);
    if (failure)
        object = std::filesystem::canonical(program, failure);
    return object.parent_path();
}

/// Found once: what loaded this code may have named it from the current folder, which can change.
const std::filesystem::path &ownFolder()
{
    static const std::filesystem::path folder = findOwnFolder();
    return folder;
}

/// Runs while this code is being loaded.
[[gnu::constructor]] void findOwnFolderAtLoad() noexcept
{
    ownFolder();
}

/// Empty where it is not installed.
std::filesystem::path findModule()
{
    const std::filesystem::path &folder = ownFolder();
    std::error_code ignored;
    for (const char *place : {".", "../lib", "../lib/kxfw", KX_MODULE_FOLDER}) {
        std::filesystem::path path = folder / place / kMPEG4ModuleFile;
        if (!folder.empty() && std::filesystem::exists(path, ignored))
            return path;
    }
    return {};
}

MPEG4ModuleOpen loadModule()
{
    const std::filesystem::path path = findModule();
    if (path.empty()) {
        NSLog("The MPEG-4 module %@ is not installed.", kMPEG4ModuleFile);
        return nullptr;
    }
    void *module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    void *entry = module == nullptr ? nullptr : dlsym(module, kMPEG4ModuleEntry);
    if (entry != nullptr)
        return reinterpret_cast<MPEG4ModuleOpen>(entry);
    const char *reason = dlerror();
    NSLog("The MPEG-4 module %@ cannot be loaded: %@", path.string(), reason == nullptr ? "no entry" : reason);
    return nullptr;
}

/// Null if it is not there; looked for again the next time.
MPEG4ModuleOpen module()
{
    static std::mutex mutex;
    static MPEG4ModuleOpen open = nullptr;
    const std::lock_guard lock(mutex);
    if (open == nullptr)
        open = loadModule();
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
    return !findModule().empty();
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
