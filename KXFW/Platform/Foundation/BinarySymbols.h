#pragma once

#include <elf.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kx
{

/// The functions of one ELF file, from its full symbol table: that of the linker, which names hidden and static
/// functions too and which the loader leaves on the disk. Empty for a stripped file. Used by one thread.
class BinarySymbols
{
public:
    struct Function {
        std::string name; ///< mangled
        uint64_t start;   ///< address in the file's own terms
    };

    explicit BinarySymbols(const char *path); ///< [any] [blocks]

    /// The function that the address, in the file's own terms, lies in. [any]
    [[nodiscard]] std::optional<Function> functionAt(uint64_t address) const;

private:
    std::vector<Elf64_Sym> symbols_;
    std::string names_; ///< each ends with a zero
};

} // namespace kx
