#include "Apps/kxtool/Commands.h"
#include "Apps/kxtool/Failure.h"
#include "Apps/kxtool/Input.h"

#include <array>
#include <iomanip>
#include <iostream>
#include <utility>

namespace kxtool
{

namespace
{

std::string codecName(FourCharCode format)
{
    static constexpr std::array names{
        std::pair{kAudioFormatLinearPCM, "Linear PCM"},
        std::pair{kAudioFormatMPEGLayer1, "MPEG layer 1"},
        std::pair{kAudioFormatMPEGLayer2, "MPEG layer 2"},
        std::pair{kAudioFormatMPEGLayer3, "MP3"},
        std::pair{kAudioFormatMPEG4AAC, "AAC"},
        std::pair{kAudioFormatALAC, "ALAC"},
        std::pair{kAudioFormatFLAC, "FLAC"},
        std::pair{kAudioFormatVorbis, "Vorbis"},
        std::pair{kAudioFormatOpus, "Opus"},
        std::pair{kAudioFormatULaw, "u-law"},
        std::pair{kAudioFormatALaw, "A-law"},
    };
    for (const auto &[code, name] : names)
        if (code == format)
            return name;
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += static_cast<char>(format >> shift & 0xFF);
    return printable(text);
}

std::string sampleType(const AudioStreamBasicDescription &format)
{
    if (format.mBitsPerChannel == 0)
        return {};
    std::string text = ", " + std::to_string(format.mBitsPerChannel) + "-bit";
    if (format.mFormatID == kAudioFormatLinearPCM)
        text += (format.mFormatFlags & kAudioFormatFlagIsFloat) != 0           ? " float"
                : (format.mFormatFlags & kAudioFormatFlagIsSignedInteger) != 0 ? " integer"
                                                                               : " unsigned integer";
    return text;
}

} // namespace

void showInfo(const std::string &file)
{
    const auto data = openAudioData(file);
    const AudioStreamBasicDescription format = data->_fileDataFormat();
    const int64_t frames = data->numFrames();
    std::cout << "file-frames: " << data->fileLengthFrames() << '\n'
              << "file-rate: " << std::setprecision(12) << format.mSampleRate << '\n'
              << "file-channels: " << format.mChannelsPerFrame << '\n'
              << "frames: " << frames << '\n'
              << "duration: " << std::fixed << std::setprecision(6)
              << static_cast<double>(data->fileLengthFrames()) / format.mSampleRate << '\n'
              << "codec: " << codecName(format.mFormatID) << sampleType(format) << '\n';
}

} // namespace kxtool
