#include "kx/Diagnostics.h"

#include "KXFW/Audio/DescriptionLines.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Platform/AudioFiles/ExtendedAudioFile.h"
#include "KXFW/Platform/Foundation/HomeDirectory.h"
#include "KXFW/Platform/Foundation/PropertyList.h"
#include "kx/AtomicFile.h"
#include "kx/Internal/Errors.h"

#include <span>

namespace kx
{

namespace
{

Result<AudioStreamBasicDescription> descriptionOf(const std::filesystem::path &path)
{
    ExtAudioFileRef file = nullptr;
    if (const OSStatus status = ExtAudioFileOpenURL(path, &file); status != noErr)
        return errorOf(status, path);
    AudioStreamBasicDescription description{};
    uint32_t size = sizeof description;
    const OSStatus status = ExtAudioFileGetProperty(file, kExtAudioFileProperty_FileDataFormat, &size, &description);
    ExtAudioFileDispose(file);
    if (status != noErr)
        return errorOf(status, path);
    return description;
}

} // namespace

Result<std::vector<std::string>> streamDescription(const std::filesystem::path &path)
{
    return caught(path, [&]() -> Result<std::vector<std::string>> {
        const auto description = descriptionOf(path);
        if (!description)
            return description.error();
        return descriptionLines(*description);
    });
}

Result<> saveStreamDescription(const std::filesystem::path &path, const std::filesystem::path &destination)
{
    return caught(destination, [&]() -> Result<> {
        const auto description = descriptionOf(path);
        if (!description)
            return description.error();
        const std::string text = propertyListText(*KXAudioUtil::dictionaryFromASBD(*description));
        return writeFile(destination, std::as_bytes(std::span(text)));
    });
}

Result<std::filesystem::path> makeTestFile(const std::filesystem::path &folder)
{
    const std::filesystem::path where = folder.empty() ? homeDirectory() : folder;
    return caught(where, [&]() -> Result<std::filesystem::path> { return KXAudioUtil::makeTestFile(where); });
}

} // namespace kx
