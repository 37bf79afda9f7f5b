#include "kx/Error.h"

namespace kx
{

std::string Error::message() const
{
    return file.empty() ? reason : file.string() + ": " + reason;
}

Exception::Exception(Error error) : std::runtime_error(error.message()), error_(std::move(error)) {}
Exception::~Exception() = default;

} // namespace kx
