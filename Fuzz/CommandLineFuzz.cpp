// Gives kxtool the lines of the bytes as arguments. Commands only look at what they are given here.
#include "Apps/kxtool/Commands.h"
#include "Fuzz/FuzzTarget.h"

#include <cmath>
#include <cstring>
#include <iostream>
#include <sstream>
#include <vector>

int kxtool_main(int argc, char **argv); // kxtool's own, renamed

namespace
{

using kx::fuzz::require;

void checkRange(const kxtool::RangeOptions &range)
{
    require(range.start.value_or(0) >= 0 && range.end.value_or(0) >= 0, "frames are not negative");
    require(range.end.value_or(0) <= INT64_MAX / 8, "frames leave room for bytes");
}

void checkEffect(const kxtool::EffectOptions &effect)
{
    require(effect.rate.value_or(1) >= 0.25F && effect.rate.value_or(1) <= 4, "rates are limited");
    require(std::abs(effect.pitch.value_or(0)) <= 2400, "pitches are limited");
}

} // namespace

namespace kxtool
{

void showInfo(const std::string & /*file*/) {}
void showFormats() {}
void showDevices() {}
void play(const PlayOptions &options)
{
    checkRange(options.range);
    checkEffect(options.effect);
    require(options.volume.value_or(0) >= 0 && options.volume.value_or(0) <= 1, "volumes are limited");
    require(options.seconds.value_or(1) > 0 && options.seconds.value_or(1) < 1e9, "times are limited");
}
void exportRange(const ExportOptions &options)
{
    checkRange(options.range);
    checkEffect(options.effect);
}
void decode(const DecodeOptions &options)
{
    require(options.from >= 0 && options.frames.value_or(0) >= 0, "frames are not negative");
}
void synthesise(const SynthOptions &options)
{
    require(options.sound.type <= 4 && options.modulation.type <= 4, "waveforms are known ones");
    require(options.sound.pitch >= 0 && options.sound.pitch <= 22050, "pitches are limited");
    require(options.seconds >= 0 && options.seconds <= 24000, "lengths are limited");
}
void showFormat(const FormatOptions & /*options*/) {}
void makeTone(const std::string & /*directory*/) {}

} // namespace kxtool

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    std::vector<std::string> lines{"kxtool"};
    std::istringstream text(std::string(reinterpret_cast<const char *>(data), size));
    for (std::string line; std::getline(text, line);)
        lines.emplace_back(line.c_str()); // an argument ends at its first zero
    std::vector<char *> arguments;
    for (std::string &line : lines)
        arguments.push_back(line.data());
    arguments.push_back(nullptr);
    std::ostringstream output;
    std::ostringstream errors;
    std::streambuf *const outside = std::cout.rdbuf(output.rdbuf());
    std::streambuf *const outsideErrors = std::cerr.rdbuf(errors.rdbuf());
    const int status = kxtool_main(static_cast<int>(lines.size()), arguments.data());
    std::cout.rdbuf(outside);
    std::cerr.rdbuf(outsideErrors);
    require(status == 0 || status == 2, "a command line makes sense or it does not");
    require((status == 2) == !errors.str().empty(), "what makes no sense is told");
    return 0;
}
