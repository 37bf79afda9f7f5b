#include "KXFW/Platform/AudioFiles/FileFormats.h"

#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"
#include "KXFW/Platform/Foundation/CodeText.h"

std::vector<kx::FileFormat> kx::fileFormatTable()
{
    std::vector<FileFormat> formats;
    for (const CodecEntry &codec : codecTable())
        if (codec.isInstalled())
            formats.insert(formats.end(), codec.formats.begin(), codec.formats.end());
    return formats;
}

std::string kx::encodingName(FourCharCode formatID)
{
    for (const CodecEntry &codec : codecTable())
        for (const FileFormat &format : codec.formats)
            for (const SoundEncoding &encoding : format.encodings)
                if (encoding.formatID == formatID)
                    return encoding.name;
    return "unknown encoding " + codeText(formatID);
}
