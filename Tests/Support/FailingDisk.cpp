#include "Tests/Support/FailingDisk.h"

#include <atomic>
#include <cerrno>
#include <sys/syscall.h>
#include <unistd.h>

namespace
{

std::atomic<int64_t> failsFrom{INT64_MAX};

} // namespace

// Stands in for the C library's own in the test program.
extern "C" ssize_t pread(int file, void *bytes, size_t count, off_t offset)
{
    const int64_t limit = failsFrom;
    if (offset >= limit) {
        errno = EIO;
        return -1;
    }
    if (limit - offset < static_cast<int64_t>(count))
        count = static_cast<size_t>(limit - offset);
    return syscall(SYS_pread64, file, bytes, count, offset);
}

namespace kx::test
{

FailingDisk::FailingDisk(int64_t offset)
{
    failsFrom = offset;
}

FailingDisk::~FailingDisk()
{
    failsFrom = INT64_MAX;
}

} // namespace kx::test
