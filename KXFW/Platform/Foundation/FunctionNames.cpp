#include "KXFW/Platform/Foundation/FunctionNames.h"

#include <dlfcn.h>
#include <elfutils/libdwfl.h>
#include <unistd.h>

#include <type_traits>

namespace kx
{

namespace
{

/// The functions of libdw that are used; null where it is not installed.
struct BinaryReader {
    decltype(&dwfl_begin) begin = nullptr;
    decltype(&dwfl_end) end = nullptr;
    decltype(&dwfl_linux_proc_report) report = nullptr;
    decltype(&dwfl_report_end) endReport = nullptr;
    decltype(&dwfl_linux_proc_find_elf) findBinary = nullptr;
    decltype(&dwfl_addrmodule) binaryAt = nullptr;
    decltype(&dwfl_module_addrinfo) functionAt = nullptr;
    bool isWhole = false;

    BinaryReader()
    {
        void *const library = dlopen("libdw.so.1", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        const auto take = [&](auto &function, const char *name) {
            function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(library, name));
            return function != nullptr;
        };
        isWhole = library != nullptr && take(begin, "dwfl_begin") && take(end, "dwfl_end") &&
                  take(report, "dwfl_linux_proc_report") && take(endReport, "dwfl_report_end") &&
                  take(findBinary, "dwfl_linux_proc_find_elf") && take(binaryAt, "dwfl_addrmodule") &&
                  take(functionAt, "dwfl_module_addrinfo");
    }
};

const BinaryReader &reader()
{
    static const BinaryReader functions;
    return functions;
}

/// Names need no debug information; the library would look for it far and wide, on servers too.
int findNoDebugInformation(Dwfl_Module * /*binary*/, void ** /*data*/, const char * /*name*/, Dwarf_Addr /*base*/,
                           const char * /*file*/, const char * /*link*/, GElf_Word /*sum*/, char ** /*found*/)
{
    return -1;
}

} // namespace

FunctionNames::FunctionNames()
{
    if (!reader().isWhole)
        return;
    static const Dwfl_Callbacks callbacks{reader().findBinary, findNoDebugInformation, nullptr, nullptr};
    binaries_.reset(reader().begin(&callbacks));
    if (!binaries_ || reader().report(binaries_.get(), getpid()) != 0 ||
        reader().endReport(binaries_.get(), nullptr, nullptr) != 0)
        binaries_.reset();
}

void FunctionNames::End::operator()(Dwfl *binaries) const noexcept
{
    reader().end(binaries);
}

std::optional<FunctionNames::Function> FunctionNames::functionAt(uint64_t address) const
{
    Dwfl_Module *const binary = binaries_ ? reader().binaryAt(binaries_.get(), address) : nullptr;
    if (binary == nullptr)
        return std::nullopt;
    GElf_Off offset = 0;
    GElf_Sym symbol;
    const char *const name = reader().functionAt(binary, address, &offset, &symbol, nullptr, nullptr, nullptr);
    return name == nullptr ? std::nullopt : std::optional(Function{name, offset});
}

} // namespace kx
