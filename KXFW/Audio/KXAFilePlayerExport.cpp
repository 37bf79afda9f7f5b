// The player's side of an export: who may start one, where it runs, and how its end is told.
#include "KXFW/Audio/KXAFilePlayer.h"

#include "KXFW/Audio/OfflineExport.h"
#include "KXFW/Platform/Dispatch/GlobalQueue.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <utility>

struct KXAFilePlayer::ExportRequest {
    std::filesystem::path url;
    ProgressAndCancelBlock progressAndCancelBlock;
    CompletionBlock completionBlock;
    FailureBlock failureBlock;

    void fail(const NSException &exception) const
    {
        if (failureBlock)
            failureBlock(exception);
        else
            NSLog("export to %@ failed: %@", url.string(), exception.what());
    }
};

void KXAFilePlayer::prepareForExport()
{
    const ControlGuard guard(controlLock_);
    if (refusedWhileExporting("export"))
        return;
    stopIfPlaying();
    setPositionInFrame(startOffsetInFrame());
    resetAUs();
}

void KXAFilePlayer::exportAsyncWithURL(const std::filesystem::path &url, ProgressAndCancelBlock progressAndCancelBlock,
                                       CompletionBlock completionBlock, FailureBlock failureBlock)
{
    const auto request = std::make_shared<const ExportRequest>(
        ExportRequest{url, std::move(progressAndCancelBlock), std::move(completionBlock), std::move(failureBlock)});
    const char *refusal = nullptr;
    {
        const ControlGuard guard(controlLock_);
        if (isExporting_)
            refusal = "an export is running";
        else if (!audioData())
            refusal = "no file is loaded";
        else {
            stopIfPlaying();
            renderFailure_.set(nullptr);
            // On the queue, so that a jump of the position is either before the export or refused.
            byteOffsetChangeQueue()->sync([this] { isExporting_ = true; });
        }
    }
    if (refusal)
        return request->fail(NSException("KXAFilePlayer export refused", refusal));
    kx::GlobalQueue::withQuality(kx::QualityOfService::Background).async([self = shared_from_this(), request] {
        self->runExport(*request);
    });
}

void KXAFilePlayer::runExport(const ExportRequest &request)
{
    std::optional<NSException> failure;
    try {
        kx::OfflineExport(*this, request.progressAndCancelBlock).writeTo(request.url);
    } catch (const NSException &exception) {
        failure = exception;
    } catch (const std::exception &exception) {
        failure = NSException("KXAFilePlayer export failed", exception.what());
    } catch (...) {
        failure = NSException("KXAFilePlayer export failed", "a callback threw");
    }
    endExport();
    if (failure)
        request.fail(*failure);
    else if (request.completionBlock)
        request.completionBlock();
}

/// Opens the player for other uses again and does what device changes had to wait.
void KXAFilePlayer::endExport()
{
    const ControlGuard guard(controlLock_);
    isExporting_ = false;
    const auto chosen = std::exchange(chosenMeanwhile_, std::nullopt);
    const bool defaultChanged = std::exchange(defaultChangedMeanwhile_, false);
    try {
        if (chosen)
            setOutputDeviceID(*chosen);
        else if (defaultChanged)
            followDefaultDevice();
    } catch (const std::exception &exception) {
        NSLog("device change failed: %@", exception.what());
    }
}
