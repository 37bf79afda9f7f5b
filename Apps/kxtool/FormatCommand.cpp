#include "Apps/kxtool/Commands.h"
#include "Apps/kxtool/Failure.h"
#include "Apps/kxtool/Input.h"
#include "kx/AtomicFile.h"

#include <iostream>
#include <utility>

namespace kxtool
{

namespace
{

AudioStreamBasicDescription descriptionOf(const std::string &file)
{
    ExtAudioFileRef opened = nullptr;
    if (const OSStatus status = ExtAudioFileOpenURL(file, &opened); status != noErr)
        throw Failure(file, kx::statusText(status));
    AudioStreamBasicDescription description{};
    uint32_t size = sizeof description;
    const OSStatus status = ExtAudioFileGetProperty(opened, kExtAudioFileProperty_FileDataFormat, &size, &description);
    ExtAudioFileDispose(opened);
    if (status != noErr)
        throw Failure(file, kx::statusText(status));
    return description;
}

} // namespace

void showFormat(const FormatOptions &options)
{
    if (options.save)
        requireDifferentFiles(options.file, *options.save);
    const AudioStreamBasicDescription description = descriptionOf(options.file);
    for (const std::string &line : kx::descriptionLines(description))
        std::cout << line << '\n';
    if (!options.save)
        return;
    const std::string text = kx::propertyListText(*KXAudioUtil::dictionaryFromASBD(description));
    requireSuccess(kx::writeFile(*options.save, std::as_bytes(std::span(text))));
}

void makeTone(const std::string &directory)
{
    const std::filesystem::path where = directory.empty() ? kx::homeDirectory() : std::filesystem::path(directory);
    try {
        std::cout << printable(KXAudioUtil::makeTestFile(where).string()) << '\n';
    } catch (const NSException &exception) {
        throw Failure(where.string(), kx::reasonForUser(exception));
    }
}

} // namespace kxtool
