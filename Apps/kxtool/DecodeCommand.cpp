#include "Apps/kxtool/Commands.h"
#include "Apps/kxtool/Failure.h"
#include "Apps/kxtool/Input.h"
#include "Apps/kxtool/Waiter.h"
#include "kx/AtomicFile.h"
#include "kx/File.h"

#include <algorithm>
#include <bit>
#include <vector>

namespace kxtool
{

namespace
{

constexpr std::size_t kBlockFrames = 65536;

/// Decoded samples are written big-endian, as the standard description has them.
void putInOrder(std::span<int16_t> samples)
{
    if constexpr (std::endian::native == std::endian::little)
        for (int16_t &sample : samples) {
            const auto bits = static_cast<uint16_t>(sample);
            sample = static_cast<int16_t>(static_cast<uint16_t>(bits << 8 | bits >> 8));
        }
}

/// Copies `frames` frames from where the file stands; returns how many there were.
int64_t copyFrames(kx::File &file, int64_t frames, kx::AtomicFile &output, Waiter &waiter, const std::string &name)
{
    std::vector<int16_t> block(2 * kBlockFrames);
    int64_t copied = 0;
    while (copied < frames) {
        if (waiter.wait(std::chrono::milliseconds(0)) == Waiter::Event::Signal)
            throw Failure(name, "cancelled");
        const auto wanted = static_cast<std::size_t>(std::min<int64_t>(frames - copied, kBlockFrames));
        const std::size_t count = require(file.read(std::span(block).first(2 * wanted)));
        if (count == 0)
            break;
        const auto samples = std::span(block).first(2 * count);
        putInOrder(samples);
        require(output.write(std::as_bytes(samples)));
        copied += static_cast<int64_t>(count);
    }
    return copied;
}

} // namespace

void decode(const DecodeOptions &options)
{
    requireDifferentFiles(options.file, options.output);
    Waiter waiter;
    kx::File file = require(kx::File::open(options.file));
    const kx::Range rest = rangeIn(options.file, {{}, options.from}, file.length());
    const int64_t frames = std::min(options.frames.value_or(INT64_MAX), (file.length() - rest.end).count());
    kx::AtomicFile output = require(kx::AtomicFile::create(options.output));
    require(file.seek(rest.end));
    const int64_t copied = copyFrames(file, frames, output, waiter, options.output);
    require(output.commit());
    if (copied < frames)
        throw Failure(options.file,
                      "ended after " + std::to_string(copied) + " of " + std::to_string(frames) + " frames");
}

} // namespace kxtool
