#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

struct Dwfl;

namespace kx
{

/// Names the functions of this process from the full symbol tables of its binaries, which stay on the disk and hold
/// hidden and static functions too. That is libdw's work, which is loaded when it is first wanted; where it is not
/// installed there are no names. Used by one thread.
class FunctionNames
{
public:
    struct Function {
        std::string name; ///< mangled
        uint64_t offset;  ///< of the address in it
    };

    FunctionNames(); ///< [any] [blocks]

    /// The function that an address of this process lies in. [any] [blocks]
    [[nodiscard]] std::optional<Function> functionAt(uint64_t address) const;

private:
    struct End {
        void operator()(Dwfl *binaries) const noexcept;
    };
    std::unique_ptr<Dwfl, End> binaries_; ///< null without names
};

} // namespace kx
