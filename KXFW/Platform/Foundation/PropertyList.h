#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <variant>

namespace kx
{

/// A number as property lists hold them: a real or an integer. A value.
class Number
{
public:
    explicit Number(double value) : value_(value) {}            ///< A real. [any]
    explicit Number(uint32_t value) : value_(int64_t{value}) {} ///< An integer. [any]
    explicit Number(int64_t value) : value_(value) {}           ///< An integer. [any]

    [[nodiscard]] bool isReal() const noexcept { return std::holds_alternative<double>(value_); } ///< [any]

    [[nodiscard]] double doubleValue() const noexcept ///< [any]
    {
        return std::visit([](auto value) { return static_cast<double>(value); }, value_);
    }

    /// The value of an integer, 0 for a real. [any]
    [[nodiscard]] int64_t int64Value() const noexcept
    {
        const auto *integer = std::get_if<int64_t>(&value_);
        return integer ? *integer : 0;
    }

    /// The value without its fraction; 0 where that is below 0 or above 2^32 - 1. [any]
    [[nodiscard]] uint32_t unsignedIntValue() const noexcept
    {
        if (const auto *real = std::get_if<double>(&value_))
            return *real > -1 && *real < 4294967296.0 ? static_cast<uint32_t>(*real) : 0;
        const int64_t integer = int64Value();
        return integer >= 0 && integer <= UINT32_MAX ? static_cast<uint32_t>(integer) : 0;
    }

    /// Equal kinds and values.
    friend bool operator==(const Number &, const Number &) = default;

private:
    std::variant<double, int64_t> value_;
};

/// Numbers under their keys.
using Dictionary = std::map<std::string, Number, std::less<>>;

/// The largest property-list file that is read, in bytes.
inline constexpr std::size_t kMaximumPropertyListBytes = 65536;

/// Reads a regular file that holds an XML property list whose root is a dictionary. Values that are no finite number of
/// at most 64 bits are left out; of a key that comes twice the last value counts. Nothing for any other file, one above
/// kMaximumPropertyListBytes, and one that is not well-formed. [any] [blocks]
KX_EXPORT std::optional<Dictionary> readPropertyList(const std::filesystem::path &path);

/// The dictionary as an XML property list. [any]
KX_EXPORT std::string propertyListText(const Dictionary &dictionary);

/// Writes propertyListText into the file, in place of what it held; a failure can leave half of it. [any] [blocks]
KX_EXPORT std::error_code writePropertyList(const Dictionary &dictionary, const std::filesystem::path &path);

} // namespace kx
