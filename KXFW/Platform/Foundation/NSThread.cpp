#include "KXFW/Platform/Foundation/NSThread.h"

#include "KXFW/Platform/Foundation/Demangling.h"
#include "KXFW/Platform/Foundation/FunctionNames.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <algorithm>
#include <array>
#include <dlfcn.h>
#include <execinfo.h>
#include <map>
#include <string_view>

namespace
{

constexpr int kMaximumFrames = 262144; ///< 32 bytes each of the usual 8 MiB of stack

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

/// Names addresses, and keeps the names: a recursion has one address many times.
class Symboliser
{
public:
    /// The place that a call returns to.
    const Place &placeOf(const void *returnPointer)
    {
        const auto [entry, isNew] = places_.try_emplace(returnPointer);
        if (isNew)
            entry->second = found(returnPointer);
        return entry->second;
    }

private:
    /// The address may lie one byte behind the function, which never gets there.
    Place found(const void *returnPointer)
    {
        Place place;
        Dl_info info{};
        const auto returnAddress = reinterpret_cast<uint64_t>(returnPointer);
        if (dladdr(static_cast<const char *>(returnPointer) - 1, &info) == 0)
            return {"?", "?", returnAddress};
        place.binary = info.dli_fname ? lastComponent(info.dli_fname) : "?";
        if (const auto function = functions_.functionAt(returnAddress - 1)) {
            place.name = kx::demangled(function->name.c_str());
            place.offset = function->offset + 1;
        } else if (info.dli_sname) {
            place.name = kx::demangled(info.dli_sname);
            place.offset = returnAddress - reinterpret_cast<uint64_t>(info.dli_saddr);
        } else {
            place.name = place.binary;
            place.offset = returnAddress - reinterpret_cast<uint64_t>(info.dli_fbase);
        }
        return place;
    }

    kx::FunctionNames functions_;
    std::map<const void *, Place> places_;
};

/// Where the calls under way return to, innermost first.
std::vector<void *> returnPointers()
{
    std::vector<void *> pointers;
    int count = 0;
    for (int room = 256; count == static_cast<int>(pointers.size()) && room <= kMaximumFrames; room *= 2) {
        pointers.resize(static_cast<std::size_t>(room));
        count = backtrace(pointers.data(), room);
    }
    pointers.resize(static_cast<std::size_t>(count));
    return pointers;
}

} // namespace

std::vector<std::string> NSThread::callStackSymbols(uint64_t most)
{
    const std::vector<void *> pointers = returnPointers();
    // What stands before the caller is this function and whatever a tool put between it and the backtrace.
    const auto caller = std::ranges::find(pointers, __builtin_return_address(0));
    const auto count = std::min(most, static_cast<uint64_t>(pointers.end() - caller));
    Symboliser symboliser;
    std::vector<std::string> lines;
    lines.reserve(count);
    for (uint64_t i = 0; i < count; ++i) {
        const void *pointer = caller[static_cast<std::ptrdiff_t>(i)];
        const Place &place = symboliser.placeOf(pointer);
        const std::array values{kx::logArgument(i), kx::logArgument(place.binary),
                                kx::logArgument(reinterpret_cast<uint64_t>(pointer)), kx::logArgument(place.name),
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
