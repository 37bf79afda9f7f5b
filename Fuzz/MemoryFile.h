#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <string>

namespace kx::fuzz
{

/// A regular file without a disk, for what reads its input by path.
class MemoryFile
{
public:
    MemoryFile(const uint8_t *bytes, std::size_t size) : number_(::memfd_create("fuzz", MFD_CLOEXEC))
    {
        for (std::size_t done = 0; done < size;) {
            const auto count = ::write(number_, bytes + done, size - done);
            if (count <= 0)
                return;
            done += static_cast<std::size_t>(count);
        }
    }
    ~MemoryFile() { ::close(number_); }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;
    [[nodiscard]] std::filesystem::path path() const { return "/proc/self/fd/" + std::to_string(number_); }

private:
    int number_;
};

} // namespace kx::fuzz
