#include "KXFW/Audio/KXAudioUtil.h"

#include "KXFW/Platform/Foundation/NSLog.h"
#include "KXFW/Platform/Foundation/NSThread.h"
#include "KXFW/Platform/Foundation/StringTable.h"

#include <algorithm>
#include <atomic>
#include <cstdio>

namespace
{

constexpr int64_t kMostTabs = 255;

/// Changes the process's depth, and gives the tabs before a line of that level.
std::string indentation(int8_t level)
{
    static std::atomic<int32_t> l{0};
    const int64_t depth = l.fetch_add(level, std::memory_order_relaxed) + int64_t{level};
    const int64_t tabs = level > 0 ? 2 * (depth - 1) : 2 * depth;
    return std::string(static_cast<std::size_t>(std::clamp<int64_t>(tabs, 0, kMostTabs)), '\t');
}

} // namespace

void KXAudioUtil::prv_logWithDescription(const std::string &description, const std::string &string, int8_t level)
{
    NSLog("%s%@; %@", indentation(level), description, string);
}

void KXAudioUtil::log(std::nullptr_t, const std::string &string, int8_t level)
{
    std::printf("%s%s\n", indentation(level).c_str(), string.c_str());
}

void call_stack(uint64_t depth)
{
    NSLog("symbols:%@", kx::description(NSThread::callStackSymbols(depth)));
}

std::shared_ptr<NSAlert> KXAudioUtil::alertWithMessage(const std::string &message, const std::string &informative)
{
    auto alert = std::make_shared<NSAlert>();
    const kx::StringTable &texts = kx::StringTable::main();
    alert->setMessageText(texts.localizedStringForKey(message));
    alert->setInformativeText(texts.localizedStringForKey(informative));
    return alert;
}
