#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

namespace kx
{

/// Owns a file descriptor. [any]
class FileDescriptor
{
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) noexcept : number_(number) {}
    FileDescriptor(FileDescriptor &&other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor &operator=(FileDescriptor &&other) noexcept
    {
        std::swap(number_, other.number_);
        return *this;
    }
    ~FileDescriptor()
    {
        if (number_ >= 0)
            ::close(number_);
    }

    [[nodiscard]] bool isOpen() const noexcept { return number_ >= 0; }
    [[nodiscard]] int number() const noexcept { return number_; }

private:
    int number_ = -1;
};

/// Calls the system until no signal interrupts it; the result of `call`. [any]
template <class Call> auto uninterrupted(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

/// Writes all the bytes, in as many calls as it takes: 0, or the errno of the call that failed. [any] [blocks]
[[nodiscard]] int writeAll(int file, std::span<const std::byte> bytes) noexcept;
/// The same from `offset` on, where the file's own position stays. [any] [blocks]
[[nodiscard]] int writeAllAt(int file, int64_t offset, std::span<const std::byte> bytes) noexcept;

} // namespace kx
