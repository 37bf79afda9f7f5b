/// @file
/// Preloaded into kxtool: from the KX_FAULT_FROM-th call on a file in the folder KX_FAULT_IN, or the call of its own
/// that KX_FAULT names, the system fails. Allocations are counted from the first call on such a file.
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <new>
#include <pthread.h>
#include <string_view>
#include <sys/resource.h>
#include <unistd.h>

namespace
{

std::atomic<int> calls{0};
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
    static const int first = std::atoi(variable("KX_FAULT_FROM"));
    if (kind != chosen)
        return false;
    const int call = ++calls;
    return once ? call == first : call >= first;
}

bool isWatched(int descriptor) noexcept
{
    char link[32];
    char name[4096] = {};
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    static const char *const folder = variable("KX_FAULT_IN");
    return readlink(link, name, sizeof name - 1) > 0 && *folder && std::strstr(name, folder);
}

/// The names of the faults of a call on a file, and what it gives when it fails.
struct Call {
    std::string_view cut, interrupted, failing;
    int error;
};
constexpr Call kRead{"short-read", "eintr-read", "read", EIO};
constexpr Call kWrite{"short-write", "eintr-write", "full", ENOSPC};
constexpr Call kSync{"", "eintr-sync", "sync", EIO};

/// Whether a call fails; it may be told to do with fewer bytes.
bool fails(const Call &kind, int descriptor, std::size_t &bytes) noexcept
{
    if (!isWatched(descriptor))
        return false;
    isOpened = true;
    if (bytes > 7 && strikes(kind.cut, false))
        bytes /= 2;
    const bool isInterrupted = strikes(kind.interrupted, true);
    errno = isInterrupted ? EINTR : kind.error;
    return isInterrupted || strikes(kind.failing, false);
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

/// The system's own.
template <class Result, class... Arguments> Result call(const char *name, Arguments... arguments) noexcept
{
    return reinterpret_cast<Result (*)(Arguments...)>(dlsym(RTLD_NEXT, name))(arguments...);
}

} // namespace

#pragma GCC visibility push(default)
extern "C" {

ssize_t pread(int descriptor, void *to, std::size_t bytes, off_t at)
{
    return fails(kRead, descriptor, bytes) ? -1 : call<ssize_t>("pread", descriptor, to, bytes, at);
}

ssize_t write(int descriptor, const void *from, std::size_t bytes)
{
    if (fails(kWrite, descriptor, bytes))
        return -1;
    return isWatched(descriptor) && strikes("no-write", false) ? 0 : call<ssize_t>("write", descriptor, from, bytes);
}

ssize_t pwrite(int descriptor, const void *from, std::size_t bytes, off_t at)
{
    return fails(kWrite, descriptor, bytes) ? -1 : call<ssize_t>("pwrite", descriptor, from, bytes, at);
}

int fsync(int descriptor)
{
    std::size_t none = 0;
    return fails(kSync, descriptor, none) ? -1 : call<int>("fsync", descriptor);
}

int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*run)(void *), void *context)
{
    return strikes("thread", false) ? EAGAIN : call<int>("pthread_create", thread, attributes, run, context);
}
}

void *operator new(std::size_t bytes)
{
    void *const memory = isOpened && strikes("memory", true) ? nullptr : std::malloc(bytes);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}
