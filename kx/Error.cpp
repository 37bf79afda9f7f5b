#include "kx/Error.h"

namespace kx
{

std::string Error::message() const
{
    return file.empty() ? reason : file.string() + ": " + reason;
}

Exception::Exception(Error error)
    : std::runtime_error(error.message()), error_(std::make_shared<const Error>(std::move(error)))
{
}

Exception::~Exception() = default;

const Error &Exception::error() const noexcept
{
    return *error_;
}

} // namespace kx
