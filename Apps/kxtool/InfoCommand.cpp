#include "Apps/kxtool/Commands.h"
#include "Apps/kxtool/Failure.h"
#include "kx/File.h"

#include <iomanip>
#include <iostream>

namespace kxtool
{

namespace
{

std::string sampleType(const kx::FileInfo &info)
{
    if (info.bitsPerSample == 0)
        return {};
    std::string text = ", " + std::to_string(info.bitsPerSample) + "-bit";
    switch (info.samples) {
    case kx::FileInfo::Samples::Float:
        return text + " float";
    case kx::FileInfo::Samples::Integer:
        return text + " integer";
    case kx::FileInfo::Samples::UnsignedInteger:
        return text + " unsigned integer";
    case kx::FileInfo::Samples::Compressed:
        break;
    }
    return text;
}

} // namespace

void showInfo(const std::string &name)
{
    const kx::File file = require(kx::File::open(name));
    const kx::FileInfo &info = file.info();
    std::cout << "file-frames: " << info.fileFrames << '\n'
              << "file-rate: " << std::setprecision(12) << info.sampleRate << '\n'
              << "file-channels: " << info.channels << '\n'
              << "frames: " << file.length().count() << '\n'
              << "duration: " << std::fixed << std::setprecision(6)
              << static_cast<double>(info.fileFrames) / info.sampleRate << '\n'
              << "codec: " << printable(info.encoding) << sampleType(info) << '\n';
}

} // namespace kxtool
