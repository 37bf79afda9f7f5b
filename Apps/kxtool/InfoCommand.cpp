#include "Apps/kxtool/Commands.h"
#include "Apps/kxtool/Failure.h"
#include "Apps/kxtool/Input.h"

#include <iomanip>
#include <iostream>

namespace kxtool
{

namespace
{

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
              << "codec: " << kx::encodingName(format.mFormatID) << sampleType(format) << '\n';
}

} // namespace kxtool
