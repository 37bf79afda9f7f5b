#pragma once

#include "kx/Error.h"
#include "kx/Frames.h"
#include "kx/Visibility.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

class KXAFilePlayerDataSource;

namespace kx
{

/// A kind of file that this build opens.
struct Format {
    std::string name;                   ///< for people, such as "WAVE"
    std::vector<std::string> suffixes;  ///< in lower case, without a dot; the usual one first
    std::vector<std::string> mimeTypes; ///< the usual one first
    std::vector<std::string> encodings; ///< for people: what its sound may be encoded in, such as "AAC"
};

/// What can be opened here, each kind once; of a module's only while it is installed. [any] [blocks]
KX_EXPORT std::vector<Format> formats();

/// What a file says of itself.
struct FileInfo {
    enum class Samples : std::uint8_t { Compressed, Integer, UnsignedInteger, Float };

    std::string encoding; ///< for people, such as "AAC"
    Samples samples = Samples::Compressed;
    std::uint32_t bitsPerSample = 0; ///< 0 where the encoding has none
    std::uint32_t channels = 0;      ///< of the file
    double sampleRate = 0;           ///< of the file, in hertz
    std::int64_t fileFrames = 0;     ///< its length at that rate

    bool operator==(const FileInfo &) const = default;
};

/// A sound file that is open for reading: whatever it holds, it is read as stereo frames of 16 bits and 44,100 Hz.
/// Move-only, and no more to be used once it was moved from. Its operations are for one thread at a time; `open` is for
/// any.
///
///     kx::File file = kx::File::open("song.mp3").value();
///     std::vector<std::int16_t> samples(2 * 1024);
///     while (const std::size_t frames = file.read(samples).value())
///         use(std::span(samples).first(2 * frames));
class KX_EXPORT File
{
public:
    /// Opens `path`, on this thread, which waits for the disk. `stop` may be requested on any thread: then the error is
    /// Cancelled. [any] [blocks]
    static Result<File> open(const std::filesystem::path &path, const std::stop_token &stop = {});

    File(File &&other) noexcept;            ///< [any]
    File &operator=(File &&other) noexcept; ///< [any] [blocks]
    ~File();                                ///< [any] [blocks]

    [[nodiscard]] const std::filesystem::path &path() const noexcept; ///< As it was opened. [any]
    [[nodiscard]] const FileInfo &info() const noexcept;              ///< [any]
    /// Exactly what can be read: file frames x 44,100 / file rate, truncated. [any]
    [[nodiscard]] Frames length() const noexcept;
    [[nodiscard]] Frames position() const noexcept; ///< The frame that is read next. [any]

    /// Fills `interleaved` (left, right, left, ...) as far as the file goes, and returns how many frames that was:
    /// fewer than fit only at the end. An error of the disk is told once, what came before it is lost. [any] [blocks]
    Result<std::size_t> read(std::span<std::int16_t> interleaved);
    /// The next frame read is `position`, sample for sample that of a read from the start; 0 to length(). [any]
    /// [blocks]
    Result<> seek(Frames position);

    /// The same file in the layer below, for what this one does not offer. [any]
    [[nodiscard]] std::shared_ptr<KXAFilePlayerDataSource> native() const noexcept;

private:
    struct Impl;
    explicit File(std::unique_ptr<Impl> impl) noexcept;

    std::unique_ptr<Impl> impl_; ///< null once moved from
};

} // namespace kx
