/// @file
/// Generated media for the tests: nothing is stored in the repository. Every file is made on first use, once a process,
/// by the usual command-line encoders or by the writers here, in a temporary folder that goes when the process ends.
///
///     const auto path = make({.codec = Codec::MP3, .frames = 50000, .options = {"-V", "2", "-t"}});
///     const auto source = samples({.frames = 50000});                 // what went into the encoder
///     const auto counter = make({.codec = Codec::WAV, .signal = Signal::Index});
///
/// All calls throw std::runtime_error when a tool or the disk fails, and may be made from any thread.
#pragma once

#include <compare>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace kx::test
{

enum class Codec {
    WAV,     ///< own writer; bits 8, 16, 24, 32, or 32 with Signal samples as floats (`floats`)
    AIFF,    ///< ffmpeg: bits 16, 24, 32
    FLAC,    ///< flac: bits 16, 24
    OggFLAC, ///< flac: bits 16, 24
    Vorbis,  ///< oggenc
    Opus,    ///< ffmpeg; rate 48000
    MP3,     ///< lame; add options such as {"-b", "128"}, {"-V", "2"}, {"-t"} (no tag)
    MP2,     ///< ffmpeg
    AAC,     ///< ffmpeg, m4a; add options such as {"-aac_pns", "0"}
    ALAC,    ///< ffmpeg, m4a: bits 16, 24
};

enum class Signal {
    Sines, ///< three sines a channel, different in each, with a little seeded noise; peaks at 0.7
    Noise, ///< seeded white noise; peaks at 0.5
    Index, ///< 16-bit samples that hold the frame number: channel c has bits 16c to 16c+15 of it (see indexOf)
};

/// What a file holds, and how it is encoded.
struct Media {
    Codec codec = Codec::WAV;
    uint32_t rate = 44100; ///< frames per second
    uint32_t channels = 2;
    int64_t frames = 44100;
    uint32_t bits = 16;  ///< a sample, of the source
    bool floats = false; ///< WAV only: 32-bit floats, value / 2^(bits-1)
    Signal signal = Signal::Sines;
    uint32_t seed = 1;                     ///< of the noise
    std::vector<std::string> options = {}; ///< passed on to the encoder

    auto operator<=>(const Media &) const = default;
};

/// The file that `media` describes, made on first use.
std::filesystem::path make(const Media &media);

/// The interleaved source samples of `media`, integers of `bits` bits (8-bit ones signed too).
std::vector<int32_t> samples(const Media &media);
/// The same, divided by 2^(bits-1).
std::vector<float> floatSamples(const Media &media);
/// 16-bit samples as big-endian bytes.
std::vector<uint8_t> bigEndian(const std::vector<int32_t> &samples);
/// The frame number that a left and right sample of Signal::Index hold.
constexpr int64_t indexOf(int16_t left, int16_t right)
{
    return static_cast<int64_t>(static_cast<uint16_t>(right)) << 16 | static_cast<uint16_t>(left);
}

/// The bytes of a WAVE file with exactly these samples; bits 8, 16, 24, 32.
std::vector<uint8_t> waveBytes(uint32_t rate, uint32_t channels, uint32_t bits, const std::vector<int32_t> &samples);
/// The bytes of a 32-bit float WAVE file with exactly these values, not-a-number and infinities included.
std::vector<uint8_t> floatWaveBytes(uint32_t rate, uint32_t channels, const std::vector<float> &samples);

/// The temporary folder of this process; it goes with everything in it when the process ends.
std::filesystem::path temporaryFolder();
/// A path in it that no other call has given: "NUMBER-name". Nothing is made there.
std::filesystem::path temporaryPath(const std::string &name);
std::vector<uint8_t> readBytes(const std::filesystem::path &path);
void writeBytes(const std::filesystem::path &path, const std::vector<uint8_t> &bytes);
/// A new temporary file with these bytes.
std::filesystem::path fileOf(const std::string &name, const std::vector<uint8_t> &bytes);

struct ToolResult {
    int status; ///< the exit status, or 128 + the signal that ended it
    std::string output;
    std::string errors;
};

/// Runs a program, found in PATH unless named with a slash, without a shell and without input. [blocks]
ToolResult runTool(const std::vector<std::string> &arguments);

} // namespace kx::test
