#pragma once

#include <cstdint>
#include <filesystem>

namespace kx::test
{

/// While it lives, reads of files by position fail with an input/output error from byte `offset` on.
class FailingDisk
{
public:
    explicit FailingDisk(int64_t offset);
    ~FailingDisk();
    FailingDisk(const FailingDisk &) = delete;
    FailingDisk &operator=(const FailingDisk &) = delete;
};

/// While it lives, reads of one file by position wait.
class HeldFile
{
public:
    explicit HeldFile(const std::filesystem::path &file);
    ~HeldFile();
    HeldFile(const HeldFile &) = delete;
    HeldFile &operator=(const HeldFile &) = delete;

    [[nodiscard]] static int waiting(); ///< reads that wait now
};

} // namespace kx::test
