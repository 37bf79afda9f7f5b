#pragma once

#include <cstdint>

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

} // namespace kx::test
