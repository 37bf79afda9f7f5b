#include "KXFW/Platform/Dispatch/LoggedTask.h"

#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <pthread.h>

namespace
{

void logCurrentException(std::string_view label) noexcept
{
    try {
        NSLog("%@: exception:%@", label, kx::currentExceptionText());
    } catch (...) { // no memory for the line: the thread goes on without it
    }
}

} // namespace

void kx::runLogged(std::string_view label, const std::function<void()> &task) noexcept
{
    try {
        task();
    } catch (...) {
        logCurrentException(label);
    }
}

void kx::nameThisThread(std::string_view name) noexcept
{
    char text[16] = {};
    name.copy(text, sizeof text - 1);
    pthread_setname_np(pthread_self(), text);
}
