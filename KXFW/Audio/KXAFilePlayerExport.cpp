// The player's side of an export: who may start one, where it runs, and how its end is told.
#include "KXFW/Audio/KXAFilePlayer.h"

#include "KXFW/Audio/CaughtException.h"
#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Audio/OfflineExport.h"
#include "KXFW/Platform/Dispatch/GlobalQueue.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <utility>

namespace
{

constexpr const char *kRefused = "KXAFilePlayer export refused";
constexpr const char *kFailed = "KXAFilePlayer export failed";

/// Whether `change` went through; why not is logged, as far as there is memory for it.
template <class Change> bool attempt(Change change) noexcept
{
    try {
        try {
            change();
            return true;
        } catch (...) {
            NSLog("device change failed: %@", kx::currentExceptionText());
        }
    } catch (...) {
        // Not even that.
    }
    return false;
}

} // namespace

struct KXAFilePlayer::ExportRequest {
    std::filesystem::path url;
    ProgressAndCancelBlock progressAndCancelBlock;
    CompletionBlock completionBlock;
    FailureBlock failureBlock;
    KXAExportOptions options;

    void fail(const NSException &exception) const
    {
        if (failureBlock)
            failureBlock(exception);
        else
            NSLog("export to %@ failed: %@", url.string(), exception.what());
    }
};

bool KXAFilePlayer::prepareForExport()
{
    const ControlGuard guard(controlLock_);
    if (refusedWhileExporting("export"))
        return false;
    stopIfPlaying();
    hasEnded_ = false;
    const bool placed = setPositionInFrame(startOffsetInFrame());
    resetAUs();
    return placed;
}

bool KXAFilePlayer::exportAsyncWithURL(const std::filesystem::path &url, ProgressAndCancelBlock progressAndCancelBlock,
                                       CompletionBlock completionBlock, FailureBlock failureBlock)
{
    return exportAsyncWithURL(url, std::move(progressAndCancelBlock), std::move(completionBlock),
                              std::move(failureBlock), {});
}

bool KXAFilePlayer::exportAsyncWithURL(const std::filesystem::path &url, ProgressAndCancelBlock progressAndCancelBlock,
                                       CompletionBlock completionBlock, FailureBlock failureBlock,
                                       const KXAExportOptions &options)
{
    const auto request = std::make_shared<const ExportRequest>(ExportRequest{
        url, std::move(progressAndCancelBlock), std::move(completionBlock), std::move(failureBlock), options});
    std::optional<NSException> failure;
    try {
        failure = beginExport(options);
        if (!failure)
            kx::GlobalQueue::withQuality(kx::QualityOfService::Background).async([self = shared_from_this(), request] {
                self->runExport(*request);
            });
    } catch (...) {
        endExport();
        failure = kx::exceptionOf(std::current_exception(), kFailed);
    }
    if (failure)
        request->fail(*failure);
    return !failure;
}

/// Stops playback and closes the player to other uses, or says why not.
std::optional<NSException> KXAFilePlayer::beginExport(const KXAExportOptions &options)
{
    const ControlGuard guard(controlLock_);
    if (isExporting_)
        return NSException(kRefused, "an export is running");
    if (!audioData())
        return NSException(kRefused, "no file is loaded");
    if (options.fromRangeStart)
        prepareForExport();
    stopIfPlaying();
    hasEnded_ = false;
    mendChain();
    renderFailure_.set(nullptr);
    if (prv_heldFrames() > 0)
        resetAUs(); // frames of before are no part of the export
    // On the queue, so that a jump of the position is either before the export or refused.
    byteOffsetChangeQueue()->sync([&] {
        exportsExactly_ = options.exactFrames;
        isExporting_ = true;
        hasJumped_ = false;
    });
    return std::nullopt;
}

void KXAFilePlayer::runExport(const ExportRequest &request)
{
    std::exception_ptr caught;
    try {
        kx::OfflineExport(*this, request.options, request.progressAndCancelBlock).writeTo(request.url);
    } catch (...) {
        caught = std::current_exception();
    }
    endExport();
    if (caught)
        request.fail(kx::exceptionOf(caught, kFailed));
    else if (request.completionBlock)
        request.completionBlock();
}

/// Opens the player for other uses again and does what device changes had to wait.
void KXAFilePlayer::endExport() noexcept
{
    const ControlGuard guard(controlLock_);
    isExporting_ = false;
    const auto chosen = std::exchange(chosenMeanwhile_, std::nullopt);
    const bool defaultChanged = std::exchange(defaultChangedMeanwhile_, false);
    if (attempt([&] {
            if (chosen)
                setOutputDeviceID(*chosen);
            else if (defaultChanged && (followsDefaultOutput_ || !KXAHardwareManager::deviceIDIsAlive(mOutputDeviceID)))
                followDefaultDevice();
        }))
        return;
    attempt([&] { followDefaultDevice(); }); // the chosen device has gone meanwhile
}
