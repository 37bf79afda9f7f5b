#include "KXFW/Audio/Player/ExportSession.h"

#include "KXFW/Audio/CaughtException.h"
#include "KXFW/Audio/Player/OfflineExport.h"
#include "KXFW/Platform/Dispatch/GlobalQueue.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <utility>

namespace kx
{

namespace
{

constexpr const char *kExportRefused = "KXAFilePlayer export refused";
constexpr const char *kExportFailed = "KXAFilePlayer export failed";

} // namespace

void ExportRequest::fail(const NSException &exception) const
{
    if (failureBlock)
        failureBlock(exception);
    else
        NSLog("export to %@ failed: %@", url.string(), exception.what());
}

ExportSession::ExportSession(ControlLock &control, PlayerFields &fields, PlaybackPosition &position,
                             RenderSource &source, UnitChain &chain, Transport &transport, DeviceFollower &follower)
    : control_(control), fields_(fields), position_(position), source_(source), chain_(chain), transport_(transport),
      follower_(follower)
{
}

bool ExportSession::prepare()
{
    const ControlGuard guard(control_);
    if (fields_.refusedWhileExporting("export"))
        return false;
    transport_.stopIfPlaying();
    source_.takeEnd();
    const bool placed = position_.jumpTo(rangeStart());
    chain_.reset();
    return placed;
}

/// In bytes, on a whole frame.
int64_t ExportSession::rangeStart() const
{
    return position_.bytesOf(position_.framesOf(fields_.param().startOffset()));
}

bool ExportSession::start(std::shared_ptr<KXAFilePlayer> player, ExportRequest asked)
{
    const auto request = std::make_shared<ExportRequest>(std::move(asked));
    std::optional<NSException> failure;
    bool hasBegun = false;
    try {
        failure = begin(*request);
        hasBegun = !failure;
        if (hasBegun)
            GlobalQueue::withQuality(QualityOfService::Background).async([this, player = std::move(player), request] {
                run(*request);
            });
    } catch (...) {
        if (hasBegun) // else the export that runs by now is another one
            end();
        failure = exceptionOf(std::current_exception(), kExportFailed);
    }
    if (failure)
        request->fail(*failure);
    return !failure;
}

/// Stops playback and closes the player to other uses, or says why not.
std::optional<NSException> ExportSession::begin(ExportRequest &request)
{
    const ControlGuard guard(control_);
    if (fields_.isExporting)
        return NSException(kExportRefused, "an export is running");
    if (!fields_.audioData())
        return NSException(kExportRefused, "no file is loaded");
    transport_.stopIfPlaying();
    source_.takeEnd();
    chain_.mend();
    fields_.failure.set(nullptr);
    if (request.options.fromRangeStart || source_.heldFrames() > 0)
        chain_.reset(); // frames of before are no part of the export
    // On the queue, so that a jump of the position is either before the export or refused.
    fields_.queue().sync([&] {
        if (request.options.fromRangeStart)
            position_.place(rangeStart());
        if (request.options.exactFrames)
            request.range = {fields_.param().startOffset(), fields_.param().endOffset()};
        source_.setExportedRange(request.range);
        fields_.isExporting = true;
        position_.takeJump();
    });
    return std::nullopt;
}

void ExportSession::run(const ExportRequest &request)
{
    std::exception_ptr caught;
    try {
        OfflineExport(fields_, position_, source_, request.range, request.progressAndCancelBlock).writeTo(request.url);
    } catch (...) {
        caught = std::current_exception();
    }
    end();
    if (caught)
        request.fail(exceptionOf(caught, kExportFailed));
    else if (request.completionBlock)
        request.completionBlock();
}

/// Opens the player for other uses again.
void ExportSession::end() noexcept
{
    const ControlGuard guard(control_);
    fields_.isExporting = false;
    follower_.exportHasEnded();
}

} // namespace kx
