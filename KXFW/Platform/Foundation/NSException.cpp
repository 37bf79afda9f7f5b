#include "KXFW/Platform/Foundation/NSException.h"

#include "KXFW/Platform/Foundation/Status.h"

#include <limits>
#include <string_view>

const char *const NSGenericException = "NSGenericException";

NSException::NSException(std::string name, std::string reason, UserInfo userInfo)
    : name_(std::move(name)), reason_(std::move(reason)), userInfo_(std::move(userInfo)), text_(name_ + ": " + reason_)
{
}

namespace
{

/// The four characters of `status` with a blank behind them, where it is such a code.
std::string codePrefix(OSStatus status)
{
    std::string characters;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto character = static_cast<unsigned char>(static_cast<uint32_t>(status) >> shift);
        if (character < 0x20 || character > 0x7e)
            return {};
        characters += static_cast<char>(character);
    }
    return characters + " ";
}

std::string description(const NSError &error)
{
    std::string text = error.domain + " " + std::to_string(error.code);
    using Limits = std::numeric_limits<OSStatus>;
    if (error.domain == NSCocoaErrorDomain && error.code >= Limits::min() && error.code <= Limits::max()) {
        const auto status = static_cast<OSStatus>(error.code);
        text += " (" + codePrefix(status) + kx::statusText(status) + ")";
    }
    return text;
}

} // namespace

std::string kx::description(const NSException::UserInfo &userInfo)
{
    std::string text = "{ ";
    for (const auto &[key, error] : userInfo)
        text += key + " = \"" + ::description(error) + "\"; ";
    return text + "}";
}

std::string kx::currentExceptionText()
{
    try {
        throw;
    } catch (const std::exception &exception) {
        return exception.what();
    } catch (const char *text) {
        return text ? text : "exception without a text";
    } catch (const std::string &text) {
        return text;
    } catch (...) {
        return "exception without a text";
    }
}

std::string kx::reasonForUser(const NSException &exception)
{
    const auto error = exception.userInfo().find("error");
    return error != exception.userInfo().end() ? statusText(static_cast<OSStatus>(error->second.code))
                                               : exception.reason();
}
