/// @file
/// The commands, one source file each. They throw Failure or UsageError where they cannot do their work.
/// Frames are frames of the standard description, 44,100 a second.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kxtool
{

/// A stretch of a file; start inclusive, end exclusive. What is left out is the file's start or end.
struct RangeOptions {
    std::optional<int64_t> start;
    std::optional<int64_t> end;
};

/// How the sound is changed; what is left out stays as it is.
struct EffectOptions {
    std::optional<float> rate;  ///< 0.25 to 4
    std::optional<float> pitch; ///< cents, -2400 to 2400
};

struct PlayOptions {
    std::string file;
    RangeOptions range;
    EffectOptions effect;
    std::optional<int64_t> position; ///< without it, the range's start
    bool loop = false;
    std::optional<float> volume; ///< 0 to 1
    std::optional<std::string> device;
    std::optional<double> seconds; ///< of the clock; without it, until the end or an interrupt
};

struct ExportOptions {
    std::string file;
    std::string output;
    RangeOptions range;
    EffectOptions effect;
};

struct DecodeOptions {
    std::string file;
    std::string output;
    int64_t from = 0;
    std::optional<int64_t> frames;
};

/// One oscillator; the waveform is the number of its type.
struct OscillatorOptions {
    uint8_t type = 0;
    float pitch = 0;     ///< hertz
    float amplitude = 0; ///< a gain; of a modulator, hertz
};

struct SynthOptions {
    std::string output;
    OscillatorOptions sound;
    bool isModulated = false;
    OscillatorOptions modulation; ///< of the pitch, when it is modulated
    double seconds = 0;
};

struct FormatOptions {
    std::string file;
    std::optional<std::string> save; ///< the description file to write
};

void showInfo(const std::string &file);
void showFormats();
void showDevices();
void play(const PlayOptions &options);
void exportRange(const ExportOptions &options);
void decode(const DecodeOptions &options);
void synthesise(const SynthOptions &options);
void showFormat(const FormatOptions &options);
void makeTone(const std::string &directory); ///< The home directory where it is empty.

} // namespace kxtool
