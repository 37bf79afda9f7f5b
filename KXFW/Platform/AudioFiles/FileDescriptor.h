#pragma once

#include <unistd.h>

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

} // namespace kx
