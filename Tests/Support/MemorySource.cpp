#include "Tests/Support/MemorySource.h"

#include <algorithm>
#include <cstring>

namespace kx::test
{

int64_t MemorySource::readAt(int64_t offset, void *bytes, int64_t count) noexcept
{
    if (++reads == stopAt)
        stop.request_stop();
    if (offset < 0 || count < 0 || offset >= length())
        return 0;
    count = std::min(count, length() - offset);
    if (offset + count > failOffset_) {
        error_ = error_ == noErr ? failStatus_ : error_;
        return -1;
    }
    std::memcpy(bytes, bytes_.data() + offset, static_cast<std::size_t>(count));
    bytesRead_ += count;
    return count;
}

std::vector<float> readFrames(Decoder &decoder, int64_t frames, uint32_t block, OSStatus *status)
{
    const bool isInt = decoder.format().kind == SampleKind::Int16;
    const std::size_t channels = decoder.format().channels;
    std::vector<float> result;
    std::vector<float> floats(block * channels);
    std::vector<int16_t> ints(block * channels);
    while (frames > 0) {
        const auto wanted = static_cast<uint32_t>(std::min<int64_t>(frames, block));
        const auto got = decoder.read(isInt ? static_cast<void *>(ints.data()) : floats.data(), wanted);
        if (status != nullptr)
            *status = got.status();
        if (!got || *got == 0)
            break;
        if (isInt)
            std::transform(ints.begin(), ints.end(), floats.begin(),
                           [](int16_t value) { return static_cast<float>(value) / 32768.0F; });
        result.insert(result.end(), floats.begin(), floats.begin() + static_cast<std::ptrdiff_t>(*got * channels));
        frames -= *got;
    }
    return result;
}

std::vector<float> readToEnd(Decoder &decoder, uint32_t block, OSStatus *status)
{
    return readFrames(decoder, INT64_MAX, block, status);
}

} // namespace kx::test
