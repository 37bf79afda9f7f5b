/// @file
/// Preloaded into kxtool: from the KX_FAULT_FROM-th call on a file in the folder KX_FAULT_IN, or the call of its own
/// that KX_FAULT names, the system fails. Allocations are counted from the first read of such a file.
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <new>
#include <pthread.h>
#include <string_view>
#include <sys/resource.h>
#include <unistd.h>

namespace
{

std::atomic<int> callsLeft{0};
std::atomic<bool> isOpened{false};

const char *variable(const char *name) noexcept
{
    const char *const value = getenv(name);
    return value ? value : "";
}

/// The fault is `kind`, and its turn has come: once where `once`, else from now on.
bool strikes(std::string_view kind, bool once) noexcept
{
    static const std::string_view chosen = variable("KX_FAULT");
    static const int first = [] {
        const int from = std::atoi(variable("KX_FAULT_FROM"));
        callsLeft = from;
        return from;
    }();
    if (kind != chosen || first == 0)
        return false;
    const int left = callsLeft.fetch_sub(1);
    return once ? left == 1 : left <= 1;
}

bool isWatched(int descriptor) noexcept
{
    char link[32] = "/proc/self/fd/";
    char name[4096];
    std::size_t length = std::strlen(link);
    char digits[12];
    int count = 0;
    for (int rest = descriptor; rest > 0 || count == 0; rest /= 10)
        digits[count++] = static_cast<char>('0' + rest % 10);
    while (count > 0)
        link[length++] = digits[--count];
    link[length] = 0;
    const ssize_t size = readlink(link, name, sizeof name - 1);
    name[size < 0 ? 0 : size] = 0;
    static const char *const folder = variable("KX_FAULT_IN");
    return *folder && std::strstr(name, folder);
}

/// "descriptors": no more than these from the start on.
__attribute__((constructor)) void limitDescriptors()
{
    if (std::string_view(variable("KX_FAULT")) != "descriptors")
        return;
    const auto most = static_cast<rlim_t>(std::atoi(variable("KX_FAULT_FROM")));
    const rlimit limit{most, most};
    setrlimit(RLIMIT_NOFILE, &limit);
}

template <class Function> Function *real(const char *name) noexcept
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

/// The failure of a read of a watched file, if it is to fail, and fewer bytes where reads are short.
bool readFails(int descriptor, std::size_t &bytes) noexcept
{
    if (!isWatched(descriptor))
        return false;
    isOpened = true;
    if (strikes("short", false) && bytes > 7)
        bytes = 7;
    if (strikes("eintr", true)) {
        errno = EINTR;
        return true;
    }
    if (strikes("read", false)) {
        errno = EIO;
        return true;
    }
    return false;
}

bool writeFails(int descriptor, std::size_t &bytes) noexcept
{
    if (!isWatched(descriptor))
        return false;
    if (strikes("short-write", false) && bytes > 7)
        bytes = (bytes + 1) / 2;
    if (strikes("full", false)) {
        errno = ENOSPC;
        return true;
    }
    return false;
}

} // namespace

#pragma GCC visibility push(default)
extern "C" {

ssize_t read(int descriptor, void *to, std::size_t bytes)
{
    return readFails(descriptor, bytes) ? -1 : real<ssize_t(int, void *, std::size_t)>("read")(descriptor, to, bytes);
}

ssize_t pread(int descriptor, void *to, std::size_t bytes, off_t at)
{
    return readFails(descriptor, bytes)
               ? -1
               : real<ssize_t(int, void *, std::size_t, off_t)>("pread")(descriptor, to, bytes, at);
}

ssize_t pread64(int descriptor, void *to, std::size_t bytes, off_t at)
{
    return pread(descriptor, to, bytes, at);
}

ssize_t write(int descriptor, const void *from, std::size_t bytes)
{
    return writeFails(descriptor, bytes)
               ? -1
               : real<ssize_t(int, const void *, std::size_t)>("write")(descriptor, from, bytes);
}

ssize_t pwrite(int descriptor, const void *from, std::size_t bytes, off_t at)
{
    return writeFails(descriptor, bytes)
               ? -1
               : real<ssize_t(int, const void *, std::size_t, off_t)>("pwrite")(descriptor, from, bytes, at);
}

ssize_t pwrite64(int descriptor, const void *from, std::size_t bytes, off_t at)
{
    return pwrite(descriptor, from, bytes, at);
}

int fsync(int descriptor)
{
    if (isWatched(descriptor) && strikes("sync", true)) {
        errno = EIO;
        return -1;
    }
    return real<int(int)>("fsync")(descriptor);
}

int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*run)(void *), void *context)
{
    if (strikes("thread", false))
        return EAGAIN;
    return real<int(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *)>("pthread_create")(
        thread, attributes, run, context);
}
}

void *operator new(std::size_t bytes)
{
    void *const memory = isOpened && strikes("memory", true) ? nullptr : std::malloc(bytes);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}
