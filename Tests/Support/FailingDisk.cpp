#include "Tests/Support/FailingDisk.h"

#include <atomic>
#include <cerrno>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace
{

std::atomic<int64_t> failsFrom{INT64_MAX};
std::atomic<ino_t> heldFile{0};
std::atomic<int> waitingReads{0};

void waitWhileHeld(int file)
{
    struct stat status {
    };
    if (heldFile == 0 || fstat(file, &status) != 0)
        return;
    ++waitingReads;
    for (ino_t held = heldFile; held == status.st_ino; held = heldFile)
        heldFile.wait(held);
    --waitingReads;
}

} // namespace

// Stands in for the C library's own in the test program.
extern "C" ssize_t pread(int file, void *bytes, size_t count, off_t offset)
{
    waitWhileHeld(file);
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

HeldFile::HeldFile(const std::filesystem::path &file)
{
    struct stat status {
    };
    stat(file.c_str(), &status);
    heldFile = status.st_ino;
}

HeldFile::~HeldFile()
{
    heldFile = 0;
    heldFile.notify_all();
}

int HeldFile::waiting()
{
    return waitingReads;
}

} // namespace kx::test
