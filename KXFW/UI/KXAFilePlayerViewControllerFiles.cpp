// Opening and exporting.
#include "KXFW/Audio/CaughtException.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Platform/Dispatch/MainQueue.h"
#include "KXFW/Platform/Foundation/NSAlert.h"
#include "KXFW/Platform/Toolkit/NSSavePanel.h"
#include "KXFW/UI/KXAFilePlayerViewControllerImpl.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{

constexpr double kShownStep = 1.0; // percent: smaller progress is not shown

using Weak = std::weak_ptr<KXAFilePlayerViewController>;

Weak weakReference(KXAFilePlayerViewController &screen)
{
    return std::static_pointer_cast<KXAFilePlayerViewController>(screen.shared_from_this());
}

/// Runs `task` with the screen on the main thread, and waits; not at all when it has gone.
template <class Task> void onMainQueue(const Weak &weak, Task task)
{
    kx::MainQueue::sync([&] {
        if (const auto screen = weak.lock())
            task(*screen);
    });
}

void showExportError(const std::filesystem::path &url, const std::string &reason)
{
    kx::MainQueue::async([text = url.string() + ": " + reason] {
        KXAudioUtil::alertWithMessage("Failed to export to a file.", text)->runModal();
    });
}

} // namespace

// Opening

const std::vector<std::string> &KXAFilePlayerViewController::_allowedExtensions() const
{
    static const std::vector<std::string> extensions{"aiff", "wav", "mp3", "m4a"};
    return extensions;
}

bool KXAFilePlayerViewController::panel(NSSavePanel &, const std::filesystem::path &shouldEnableURL)
{
    const std::string extension = shouldEnableURL.extension().string();
    const auto &allowed = _allowedExtensions();
    if (!extension.empty() && std::ranges::find(allowed, extension.substr(1)) != allowed.end())
        return true;
    std::error_code failure;
    return std::filesystem::is_directory(shouldEnableURL, failure);
}

void KXAFilePlayerViewController::clickOpenButton(const NSControl &)
{
    const auto open = NSOpenPanel::openPanel();
    open->setAllowedFileTypes(_allowedExtensions());
    open->beginSheetModalForWindow(window(), [open, weak = weakReference(*this)](int64_t result) {
        const auto screen = weak.lock();
        if (screen && result != 0)
            screen->_openFileAtURL(open->URL());
    });
}

bool KXAFilePlayerViewController::_openFileAtURL(const std::filesystem::path &url)
{
    impl_->fileNameField.setStringValue(url.filename().string());
    if (!impl_->player->loadFileAtURL(url)) {
        _showFileReadingErrorAlert();
        return false;
    }
    if (const auto bar = playPositionView()) {
        bar->setNumFrames(impl_->player->audioData()->numFrames());
        bar->setStartFrame(impl_->player->startOffsetInFrame());
        bar->setEndFrame(impl_->player->endOffsetInFrame());
        bar->setEnabled(true);
    }
    _updateUI();
    return true;
}

void KXAFilePlayerViewController::_showFileReadingErrorAlert()
{
    kx::MainQueue::async([] {
        KXAudioUtil::alertWithMessage("Failed to read a file.", "Check whether the file is not broken")->runModal();
    });
}

// Exporting

void KXAFilePlayerViewController::clickExportButton(const NSControl &)
{
    const auto save = NSSavePanel::savePanel();
    save->setAllowedFileTypes({"aiff"});
    save->beginSheetModalForWindow(window(), [save, weak = weakReference(*this)](int64_t result) {
        const auto screen = weak.lock();
        if (screen && result != 0)
            screen->_exportToURL(save->URL());
    });
}

void KXAFilePlayerViewController::clickCancelButton(const NSControl &)
{
    setContinuesExporting(false);
}

void KXAFilePlayerViewController::_exportToURL(const std::filesystem::path &url)
{
    if (impl_->isExporting)
        return showExportError(url, "an export is running");
    impl_->isExporting = true;
    setContinuesExporting(true);
    kx::MainQueue::async([url, weak = weakReference(*this)] {
        if (const auto screen = weak.lock())
            screen->impl_->beginExport(url);
    });
}

void KXAFilePlayerViewController::Impl::beginExport(const std::filesystem::path &url)
{
    const Weak weak = weakReference(screen);
    const auto fail = [weak, url](const NSException &failure) {
        onMainQueue(weak, [](auto &shown) { shown.impl_->endExport(); });
        showExportError(url, kx::reasonForUser(failure)); // also without the screen
    };
    screen.window().beginSheet(exportProgressSheet, [continues = continuesExporting](int64_t) { *continues = false; });
    try {
        player->prepareForExport(); // reads the file
    } catch (...) {
        return fail(kx::exceptionOf(std::current_exception(), "export failed"));
    }
    player->exportAsyncWithURL(
        url, progressBlock(), [weak] { onMainQueue(weak, [](auto &shown) { shown.impl_->endExport(); }); }, fail);
}

KXAFilePlayer::ProgressAndCancelBlock KXAFilePlayerViewController::Impl::progressBlock()
{
    // The indicator is asked again only when it would move by what was read last: a thread that waits for the main one
    // at every slice would spend most of its time so.
    return [weak = weakReference(screen), continues = continuesExporting,
            shown = std::numeric_limits<double>::infinity()](double percent) mutable {
        if (std::abs(percent - shown) > kShownStep)
            onMainQueue(weak, [&](auto &current) { shown = current.exportProgressIndicator().doubleValue(); });
        if (std::abs(percent - shown) > kShownStep)
            onMainQueue(weak, [&](auto &current) {
                current.exportProgressIndicator().setDoubleValue(percent);
                shown = percent;
            });
        return !*continues;
    };
}

void KXAFilePlayerViewController::Impl::endExport()
{
    isExporting = false;
    screen.window().endSheet(exportProgressSheet, NSModalResponseStop);
}
