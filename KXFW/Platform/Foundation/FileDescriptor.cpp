#include "KXFW/Platform/Foundation/FileDescriptor.h"

namespace kx
{

namespace
{

/// Calls `write` with what is left until nothing is.
template <class Write> int writeOut(std::span<const std::byte> bytes, Write write)
{
    while (!bytes.empty()) {
        const ssize_t written = uninterrupted([&] { return write(bytes); });
        if (written <= 0)
            return written < 0 ? errno : EIO;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return 0;
}

} // namespace

int writeAll(int file, std::span<const std::byte> bytes) noexcept
{
    return writeOut(bytes, [&](auto rest) { return ::write(file, rest.data(), rest.size()); });
}

int writeAllAt(int file, int64_t offset, std::span<const std::byte> bytes) noexcept
{
    const auto end = offset + static_cast<int64_t>(bytes.size());
    return writeOut(bytes, [&](auto rest) {
        return ::pwrite(file, rest.data(), rest.size(), end - static_cast<int64_t>(rest.size()));
    });
}

} // namespace kx
