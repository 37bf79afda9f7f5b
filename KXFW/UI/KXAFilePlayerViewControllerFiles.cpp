// Opening and exporting.
#include "KXFW/Audio/CaughtException.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "KXFW/Platform/Dispatch/MainQueue.h"
#include "KXFW/Platform/Foundation/NSAlert.h"
#include "KXFW/Platform/Toolkit/NSSavePanel.h"
#include "KXFW/UI/KXAFilePlayerViewController.h"

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
    fileNameField_.setStringValue(url.filename().string());
    if (!player_->loadFileAtURL(url)) {
        _showFileReadingErrorAlert();
        return false;
    }
    if (const auto bar = playPositionView()) {
        bar->setNumFrames(player_->audioData()->numFrames());
        bar->setStartFrame(player_->startOffsetInFrame());
        bar->setEndFrame(player_->endOffsetInFrame());
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
    if (isExporting_)
        return showExportError(url, "an export is running");
    isExporting_ = true;
    setContinuesExporting(true);
    kx::MainQueue::async([url, weak = weakReference(*this)] {
        if (const auto screen = weak.lock())
            screen->beginExport(url);
    });
}

void KXAFilePlayerViewController::beginExport(const std::filesystem::path &url)
{
    const Weak weak = weakReference(*this);
    const auto fail = [weak, url](const NSException &failure) {
        onMainQueue(weak, [](auto &screen) { screen.endExport(); });
        showExportError(url, kx::reasonForUser(failure)); // also without the screen
    };
    window().beginSheet(exportProgressSheet_, [continues = continuesExporting_](int64_t) { *continues = false; });
    try {
        player_->prepareForExport(); // reads the file
    } catch (...) {
        return fail(kx::exceptionOf(std::current_exception(), "export failed"));
    }
    player_->exportAsyncWithURL(
        url, progressBlock(), [weak] { onMainQueue(weak, [](auto &screen) { screen.endExport(); }); }, fail);
}

KXAFilePlayer::ProgressAndCancelBlock KXAFilePlayerViewController::progressBlock()
{
    // The indicator is asked again only when it would move by what was read last: a thread that waits for the main one
    // at every slice would spend most of its time so.
    return [weak = weakReference(*this), continues = continuesExporting_,
            shown = std::numeric_limits<double>::infinity()](double percent) mutable {
        if (std::abs(percent - shown) > kShownStep)
            onMainQueue(weak, [&](auto &screen) { shown = screen.exportProgressIndicator().doubleValue(); });
        if (std::abs(percent - shown) > kShownStep)
            onMainQueue(weak, [&](auto &screen) {
                screen.exportProgressIndicator().setDoubleValue(percent);
                shown = percent;
            });
        return !*continues;
    };
}

void KXAFilePlayerViewController::endExport()
{
    isExporting_ = false;
    window().endSheet(exportProgressSheet_, NSModalResponseStop);
}
