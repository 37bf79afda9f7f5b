#pragma once

#include "KXFW/Platform/Foundation/NSException.h"

#include <exception>
#include <string>

namespace kx
{

/// What was caught, whatever it was, as the platform's exception; `name` for what is no NSException. [any]
inline NSException exceptionOf(const std::exception_ptr &caught, const char *name)
{
    try {
        std::rethrow_exception(caught);
    } catch (const NSException &exception) {
        return exception;
    } catch (const std::exception &exception) {
        return {name, exception.what()};
    } catch (const char *text) {
        return {name, text};
    } catch (const std::string &text) {
        return {name, text};
    } catch (...) {
        return {name, "something that is no exception was thrown"};
    }
}

} // namespace kx
