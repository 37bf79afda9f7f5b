// Reads the bytes as a property list and as a format description file.
#include "Fuzz/FuzzTarget.h"
#include "Fuzz/MemoryFile.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Platform/Foundation/PropertyList.h"

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    const kx::fuzz::MemoryFile file(data, size);
    const AudioStreamBasicDescription description = KXAudioUtil::loadDescription(file.path());
    (void)KXAudioUtil::dictionaryFromASBD(description);
    const auto dictionary = kx::readPropertyList(file.path());
    if (!dictionary)
        return 0;
    const std::string text = kx::propertyListText(*dictionary);
    const kx::fuzz::MemoryFile copy(reinterpret_cast<const uint8_t *>(text.data()), text.size());
    const auto again = kx::readPropertyList(copy.path());
    const bool isTooLong = text.size() > kx::kMaximumPropertyListBytes;
    kx::fuzz::require(again ? *again == *dictionary : isTooLong, "what was read can be written and read again");
    return 0;
}
