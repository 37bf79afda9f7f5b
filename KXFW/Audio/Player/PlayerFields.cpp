#include "KXFW/Audio/Player/PlayerFields.h"

#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Foundation/NSLog.h"

namespace kx
{

void PlayerFields::keep(std::shared_ptr<void> old)
{
    if (!old)
        return;
    const std::lock_guard guard(keptLock_);
    kept_.push_back(std::move(old));
}

/// A render that is under way uses the old source: it goes once the queue was free.
void PlayerFields::replaceSource(std::shared_ptr<KXAFilePlayerDataSource> source)
{
    const auto old = source_.exchange(std::move(source));
    if (!old || !queueSlot_.now())
        return;
    try {
        queue().sync([] {});
    } catch (const NSException &) {
        // This is a task on the queue itself: no render is under way.
    }
}

std::shared_ptr<KXAFiledAudioData2> PlayerFields::audioData() const
{
    const auto source = source_.get();
    return source ? source->audioData() : nullptr;
}

bool PlayerFields::refusedWhileExporting(const char *what) const
{
    if (isExporting)
        NSLog("%s refused: an export is running", what);
    return isExporting;
}

} // namespace kx
