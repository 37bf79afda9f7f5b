#include "Apps/kxtool/Commands.h"
#include "Apps/kxtool/Failure.h"
#include "Apps/kxtool/Input.h"
#include "Apps/kxtool/Waiter.h"
#include "kx/AtomicFile.h"

#include <algorithm>
#include <vector>

namespace kxtool
{

namespace
{

constexpr uint32_t kBlockFrames = 65536; ///< a quarter of what one pre-read takes

/// Copies `frames` frames from where the data stands; returns how many there were.
int64_t copyFrames(KXAFiledAudioData2 &data, int64_t frames, kx::AtomicFile &output, Waiter &waiter,
                   const std::string &name)
{
    const std::size_t frameBytes = data.format().mBytesPerFrame;
    std::vector<std::byte> block(kBlockFrames * frameBytes);
    int64_t copied = 0;
    while (copied < frames) {
        if (waiter.wait(std::chrono::milliseconds(0)) == Waiter::Event::Signal)
            throw Failure(name, "cancelled");
        auto count = static_cast<uint32_t>(std::min<int64_t>(frames - copied, kBlockFrames));
        data.readToBuffer(block.data(), &count);
        if (count == 0)
            break;
        requireSuccess(output.write(std::span(block).first(count * frameBytes)));
        copied += count;
    }
    return copied;
}

} // namespace

void decode(const DecodeOptions &options)
{
    requireDifferentFiles(options.file, options.output);
    Waiter waiter;
    const auto data = openAudioData(options.file);
    const int64_t length = data->numFrames();
    const Range range = rangeIn(options.file, {{}, options.from}, length);
    const int64_t frames = std::min(options.frames.value_or(length), length - range.end);
    kx::AtomicFile output = valueOf(kx::AtomicFile::create(options.output));
    data->seek(options.from);
    const int64_t copied = copyFrames(*data, frames, output, waiter, options.output);
    requireSuccess(output.commit());
    if (copied < frames)
        throw Failure(options.file,
                      "ended after " + std::to_string(copied) + " of " + std::to_string(frames) + " frames");
}

} // namespace kxtool
