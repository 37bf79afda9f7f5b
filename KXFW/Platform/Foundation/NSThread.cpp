#include "KXFW/Platform/Foundation/NSThread.h"

#include "KXFW/Platform/Foundation/BinarySymbols.h"
#include "KXFW/Platform/Foundation/Demangling.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <algorithm>
#include <array>
#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>
#include <map>
#include <string_view>

namespace
{

constexpr int kMaximumFrames = 512;

std::string_view lastComponent(std::string_view path)
{
    return path.substr(path.rfind('/') + 1);
}

/// Where an address lies; without a function, in which binary and how far into it.
struct Place {
    std::string binary = "?";
    std::string name = "?";
    uint64_t offset = 0;
};

/// Names addresses; keeps what it read of each binary.
class Symboliser
{
public:
    /// The place that a call returns to. It may lie one byte behind the function, which never gets there.
    Place placeOf(const void *returnPointer)
    {
        Place place;
        Dl_info info{};
        link_map *map = nullptr;
        const auto returnAddress = reinterpret_cast<uint64_t>(returnPointer);
        if (dladdr1(static_cast<const char *>(returnPointer) - 1, &info, reinterpret_cast<void **>(&map),
                    RTLD_DL_LINKMAP) == 0)
            return {"?", "?", returnAddress};
        place.binary = info.dli_fname ? lastComponent(info.dli_fname) : "?";
        if (const auto function = symbolsOf(*map).functionAt(returnAddress - 1 - map->l_addr)) {
            place.name = kx::demangled(function->name.c_str());
            place.offset = returnAddress - map->l_addr - function->start;
        } else if (info.dli_sname) {
            place.name = kx::demangled(info.dli_sname);
            place.offset = returnAddress - reinterpret_cast<uint64_t>(info.dli_saddr);
        } else {
            place.name = place.binary;
            place.offset = returnAddress - reinterpret_cast<uint64_t>(info.dli_fbase);
        }
        return place;
    }

private:
    const kx::BinarySymbols &symbolsOf(const link_map &map)
    {
        const bool isProgram = !map.l_name || *map.l_name == 0;
        return binaries_.try_emplace(&map, isProgram ? "/proc/self/exe" : map.l_name).first->second;
    }

    std::map<const link_map *, kx::BinarySymbols> binaries_;
};

} // namespace

std::vector<std::string> NSThread::callStackSymbols()
{
    std::array<void *, kMaximumFrames> frames{};
    const auto end = frames.begin() + backtrace(frames.data(), kMaximumFrames);
    // What stands before the caller is this function and whatever a tool put between it and the backtrace.
    const auto caller = std::find(frames.begin(), end, __builtin_return_address(0));
    Symboliser symboliser;
    std::vector<std::string> lines;
    for (auto frame = caller; frame != end; ++frame) {
        const Place place = symboliser.placeOf(*frame);
        const std::array values{kx::logArgument(frame - caller), kx::logArgument(place.binary),
                                kx::logArgument(reinterpret_cast<uint64_t>(*frame)), kx::logArgument(place.name),
                                kx::logArgument(place.offset)};
        lines.push_back(kx::formatted("%-3d %-24s 0x%016lx %s + %lu", values));
    }
    return lines;
}

std::string kx::description(std::span<const std::string> list)
{
    std::string text = "(\n";
    for (std::size_t i = 0; i < list.size(); ++i)
        text.append("    \"").append(list[i]).append(i + 1 < list.size() ? "\",\n" : "\"\n");
    return text.append(")");
}
