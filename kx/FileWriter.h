#pragma once

#include "kx/Error.h"
#include "kx/Visibility.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

namespace kx
{

/// What a written file holds: linear PCM. Others than these are refused (Unsupported): AIFF of 16-bit integers, WAVE of
/// both kinds of samples; 1 to 64 channels; whole rates.
struct WriterFormat {
    enum class Container : std::uint8_t { WAVE, AIFF };
    enum class Samples : std::uint8_t { Int16, Float32 };

    Container container = Container::WAVE;
    Samples samples = Samples::Int16;
    std::uint32_t channels = 2;
    double sampleRate = 44100; ///< hertz
};

/// A sound file that takes its name when it is finished: until then what was there stays, and where it is given up
/// nothing is left of it. Move-only, and no more to be used once it was moved from; for one thread at a time.
class KX_EXPORT FileWriter
{
public:
    static Result<FileWriter> create(const std::filesystem::path &path, const WriterFormat &format); ///< [any] [blocks]
    FileWriter(FileWriter &&other) noexcept;                                                         ///< [any]
    FileWriter &operator=(FileWriter &&other) noexcept;                                              ///< [any] [blocks]
    ~FileWriter(); ///< Gives an unfinished file up. [any] [blocks]

    /// Whole frames, the samples of a frame in turn; full scale is 1, and integers are rounded and clipped.
    /// [any] [blocks]
    Result<> write(std::span<const float> interleaved);
    /// Completes the file and gives it its name; nothing can be written afterwards. [any] [blocks]
    Result<> finish();

private:
    struct Impl;
    explicit FileWriter(std::unique_ptr<Impl> impl) noexcept;

    std::unique_ptr<Impl> impl_;
};

} // namespace kx
