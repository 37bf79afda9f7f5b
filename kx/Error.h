#pragma once

#include "kx/Visibility.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>

namespace kx
{

/// What kind of failure it is, for a program to decide by.
enum class ErrorCode : std::uint8_t {
    NotFound,        ///< there is no such file
    NotPermitted,    ///< the file may not be read, or the place not be written
    Unsupported,     ///< the file is of a kind that this build does not read or write
    Damaged,         ///< the file is of a known kind, and what it holds contradicts itself
    TooLarge,        ///< it asks for more memory, or holds more, than is taken
    ReadFailed,      ///< the disk gave less than the file announced
    WriteFailed,     ///< the disk refused bytes
    DiskFull,        ///< there is no room
    TimedOut,        ///< the disk or the sound server did not answer in time
    Cancelled,       ///< it was asked to end
    NoFile,          ///< nothing is loaded
    NoDevice,        ///< no such device, or none that plays
    DeviceFailed,    ///< the device or its server refused to play
    Busy,            ///< an export is under way
    InvalidArgument, ///< a value outside its range
    OutOfMemory,     ///< memory, threads or descriptors ran out
    Other,
};

/// A failure, as a code for programs and a sentence for people. A value.
struct KX_EXPORT Error {
    ErrorCode code = ErrorCode::Other;
    std::string reason;         ///< UTF-8, starts in lower case, no full stop: "the file does not exist"
    std::filesystem::path file; ///< what it is about; empty where that is no file

    /// "FILE: REASON", or the reason alone where it is about no file. [any]
    [[nodiscard]] std::string message() const;

    bool operator==(const Error &) const = default;
};

/// What `Result::value` throws where there is none; its text is the error's message. A value.
class KX_EXPORT Exception : public std::runtime_error
{
public:
    explicit Exception(Error error);                   ///< [any]
    ~Exception() override;                             ///< [any]
    [[nodiscard]] const Error &error() const noexcept; ///< [any]

private:
    std::shared_ptr<const Error> error_; ///< so that copies cannot fail
};

/// A value, or the error that says why there is none.
///
///     if (const auto opened = player.open("song.mp3"); !opened)
///         std::cerr << opened.error().message() << '\n';
///
/// `value` throws an `Exception` instead, for code that would rather not ask; `*` and `->` are for a result that was
/// asked: without a value what they do is undefined.
template <class T = void> class [[nodiscard]] Result
{
public:
    Result(T value) : content_(std::in_place_index<0>, std::move(value)) {}     // NOLINT: converts on purpose
    Result(Error error) : content_(std::in_place_index<1>, std::move(error)) {} // NOLINT: converts on purpose

    [[nodiscard]] bool hasValue() const noexcept { return content_.index() == 0; }
    explicit operator bool() const noexcept { return hasValue(); }

    [[nodiscard]] T &value() & { return require(), std::get<0>(content_); }
    [[nodiscard]] const T &value() const & { return require(), std::get<0>(content_); }
    [[nodiscard]] T value() && { return require(), std::get<0>(std::move(content_)); }
    T valueOr(T other) && { return hasValue() ? std::get<0>(std::move(content_)) : std::move(other); }

    T &operator*() &noexcept { return *std::get_if<0>(&content_); }
    const T &operator*() const &noexcept { return *std::get_if<0>(&content_); }
    T &&operator*() &&noexcept { return std::move(*std::get_if<0>(&content_)); }
    T *operator->() noexcept { return std::get_if<0>(&content_); }
    const T *operator->() const noexcept { return std::get_if<0>(&content_); }

    /// Only where there is no value.
    [[nodiscard]] const Error &error() const noexcept { return *std::get_if<1>(&content_); }

private:
    void require() const
    {
        if (!hasValue())
            throw Exception(error());
    }

    std::variant<T, Error> content_;
};

/// That something was done, or the error that says why not.
template <> class [[nodiscard]] Result<void>
{
public:
    Result() = default;
    Result(Error error) : content_(std::move(error)) {} // NOLINT: converts on purpose

    [[nodiscard]] bool hasValue() const noexcept { return content_.index() == 0; }
    explicit operator bool() const noexcept { return hasValue(); }
    /// Throws an `Exception` where it was not done.
    void value() const
    {
        if (!hasValue())
            throw Exception(error());
    }
    /// Only where it was not done.
    [[nodiscard]] const Error &error() const noexcept { return *std::get_if<1>(&content_); }

private:
    std::variant<std::monostate, Error> content_;
};

} // namespace kx
