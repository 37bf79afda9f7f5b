#include "KXFW/Platform/Foundation/BinarySymbols.h"

#include <cstring>
#include <fstream>

namespace kx
{

namespace
{

constexpr uint64_t kMostBytes = uint64_t{1} << 30; ///< of a table; a file may say anything

class File
{
public:
    explicit File(const char *path) : stream_(path, std::ios::binary | std::ios::ate)
    {
        size_ = stream_ ? static_cast<uint64_t>(stream_.tellg()) : 0;
    }

    bool read(uint64_t offset, void *bytes, uint64_t count)
    {
        if (count > size_ || offset > size_ - count)
            return false;
        stream_.seekg(static_cast<std::streamoff>(offset));
        return static_cast<bool>(stream_.read(static_cast<char *>(bytes), static_cast<std::streamsize>(count)));
    }

    /// Whole elements of a table; none if it does not lie in the file.
    template <class Table> Table table(uint64_t offset, uint64_t bytes)
    {
        Table result;
        if (bytes > kMostBytes || bytes > size_)
            return result;
        result.resize(bytes / sizeof result[0]);
        if (!read(offset, result.data(), result.size() * sizeof result[0]))
            result.clear();
        return result;
    }

private:
    std::ifstream stream_;
    uint64_t size_ = 0;
};

bool isElf64(const Elf64_Ehdr &header)
{
    return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 && header.e_ident[EI_CLASS] == ELFCLASS64 &&
           header.e_shentsize == sizeof(Elf64_Shdr);
}

} // namespace

BinarySymbols::BinarySymbols(const char *path)
{
    File file(path);
    Elf64_Ehdr header{};
    if (!file.read(0, &header, sizeof header) || !isElf64(header))
        return;
    const auto sections =
        file.table<std::vector<Elf64_Shdr>>(header.e_shoff, uint64_t{header.e_shnum} * sizeof(Elf64_Shdr));
    for (const Elf64_Shdr &section : sections) {
        if (section.sh_type != SHT_SYMTAB || section.sh_link >= sections.size())
            continue;
        const Elf64_Shdr &names = sections[section.sh_link];
        symbols_ = file.table<std::vector<Elf64_Sym>>(section.sh_offset, section.sh_size);
        names_ = file.table<std::string>(names.sh_offset, names.sh_size);
    }
}

std::optional<BinarySymbols::Function> BinarySymbols::functionAt(uint64_t address) const
{
    for (const Elf64_Sym &symbol : symbols_)
        if (ELF64_ST_TYPE(symbol.st_info) == STT_FUNC && symbol.st_name < names_.size() &&
            symbol.st_shndx != SHN_UNDEF && address >= symbol.st_value && address - symbol.st_value < symbol.st_size)
            return Function{names_.c_str() + symbol.st_name, symbol.st_value};
    return std::nullopt;
}

} // namespace kx
