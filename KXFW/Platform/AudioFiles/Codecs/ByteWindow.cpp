#include "KXFW/Platform/AudioFiles/Codecs/ByteWindow.h"

#include <algorithm>
#include <cstring>

namespace kx
{

namespace
{

constexpr int64_t kFirstFill = 16 * 1024;
constexpr int64_t kDirectRead = 64 * 1024; ///< from here on the extra copy costs more than the saved calls

} // namespace

std::span<const std::byte> ByteWindow::held(int64_t offset, int64_t count) const noexcept
{
    if (offset < start_ || offset >= start_ + count_)
        return {};
    const int64_t available = std::min(count, start_ + count_ - offset);
    return {memory_.get() + (offset - start_), static_cast<std::size_t>(available)};
}

/// Makes the window begin at `offset`.
OSStatus ByteWindow::fill(int64_t offset, int64_t count)
{
    const bool goesOn = offset >= start_ && offset <= start_ + count_;
    const int64_t bytes = std::min(kCapacity, std::max(count, goesOn && nextFill_ > 0 ? nextFill_ : kFirstFill));
    int64_t got = source_.readAt(offset, memory_.get(), bytes);
    if (got < 0 && bytes > count) // the fault may lie in what nobody has asked for yet
        got = source_.readAt(offset, memory_.get(), count);
    start_ = offset;
    count_ = std::max<int64_t>(got, 0);
    nextFill_ = std::min(kCapacity, 2 * bytes);
    return got < 0 ? source_.error() : noErr;
}

StatusOr<int64_t> ByteWindow::copy(int64_t offset, std::byte *out, int64_t count)
{
    int64_t done = 0;
    while (done < count) {
        const int64_t wanted = count - done;
        auto bytes = held(offset + done, wanted);
        if (bytes.empty() && wanted >= kDirectRead) {
            const int64_t got = source_.readAt(offset + done, out + done, wanted);
            if (got < 0)
                return done > 0 ? StatusOr<int64_t>(done) : source_.error();
            return done + got;
        }
        if (bytes.empty()) {
            if (const OSStatus status = fill(offset + done, wanted); status != noErr && done == 0)
                return status;
            bytes = held(offset + done, wanted);
        }
        if (bytes.empty())
            break;
        std::memcpy(out + done, bytes.data(), bytes.size());
        done += static_cast<int64_t>(bytes.size());
    }
    return done;
}

StatusOr<std::span<const std::byte>> ByteWindow::view(int64_t offset, int64_t count)
{
    count = std::min(count, kCapacity);
    if (const auto bytes = held(offset, count); static_cast<int64_t>(bytes.size()) == count)
        return bytes;
    if (const OSStatus status = fill(offset, count); status != noErr)
        return status;
    return held(offset, count);
}

} // namespace kx
