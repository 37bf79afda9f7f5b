/* Preloaded by the player's story: reads by position of a file named slow.* wait while the file KX_HOLD exists. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

ssize_t pread(int file, void *bytes, size_t count, off_t offset)
{
    char link[32], name[4096];
    snprintf(link, sizeof link, "/proc/self/fd/%d", file);
    const ssize_t length = readlink(link, name, sizeof name - 1);
    name[length < 0 ? 0 : length] = 0;
    const char *hold = getenv("KX_HOLD");
    while (hold && strstr(name, "/slow.") && access(hold, F_OK) == 0)
        usleep(10000);
    ssize_t (*real)(int, void *, size_t, off_t) = (ssize_t(*)(int, void *, size_t, off_t))dlsym(RTLD_NEXT, "pread");
    return real(file, bytes, count, offset);
}

ssize_t pread64(int file, void *bytes, size_t count, off_t offset)
{
    return pread(file, bytes, count, offset);
}
