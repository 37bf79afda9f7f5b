#include "KXFW/Platform/Foundation/NSThread.h"

#include "KXFW/Platform/Foundation/Demangling.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <array>
#include <dlfcn.h>
#include <execinfo.h>
#include <string_view>

namespace
{

constexpr int kMaximumFrames = 512;

std::string_view lastComponent(std::string_view path)
{
    return path.substr(path.rfind('/') + 1);
}

std::string symbolLine(uint64_t number, void *address)
{
    Dl_info info{};
    const bool found = dladdr(address, &info) != 0;
    const auto value = reinterpret_cast<uintptr_t>(address);
    const auto offsetFrom = [&](void *start) { return value - reinterpret_cast<uintptr_t>(start); };
    const bool named = found && info.dli_sname;
    const std::string binary(found && info.dli_fname ? lastComponent(info.dli_fname) : "?");
    const std::string name = named ? kx::demangled(info.dli_sname) : binary;
    const std::array<kx::LogArgument, 5> values{kx::logArgument(number), kx::logArgument(binary),
                                                kx::logArgument(value), kx::logArgument(name),
                                                kx::logArgument(offsetFrom(named   ? info.dli_saddr
                                                                           : found ? info.dli_fbase
                                                                                   : nullptr))};
    return kx::formatted("%-3u %-24s 0x%016lx %s + %lu", values);
}

} // namespace

std::vector<std::string> NSThread::callStackSymbols()
{
    std::array<void *, kMaximumFrames> frames{};
    const int count = backtrace(frames.data(), kMaximumFrames);
    std::vector<std::string> lines;
    for (int i = 1; i < count; ++i) // the first is this function
        lines.push_back(symbolLine(static_cast<uint64_t>(i - 1), frames[static_cast<std::size_t>(i)]));
    return lines;
}

std::string kx::description(std::span<const std::string> list)
{
    std::string text = "(\n";
    for (std::size_t i = 0; i < list.size(); ++i)
        text.append("    \"").append(list[i]).append(i + 1 < list.size() ? "\",\n" : "\"\n");
    return text.append(")");
}
