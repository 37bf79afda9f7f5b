#pragma once

#include "KXFW/Audio/KXAFilePlayer.h"
#include "KXFW/Platform/AudioUnits/AVAudioUnitTimePitch.h"
#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Toolkit/NSButton.h"
#include "KXFW/Platform/Toolkit/NSControl.h"
#include "KXFW/Platform/Toolkit/NSProgressIndicator.h"
#include "KXFW/Platform/Toolkit/NSSavePanel.h"
#include "KXFW/Platform/Toolkit/NSTextField.h"
#include "KXFW/Platform/Toolkit/NSTimer.h"
#include "KXFW/Platform/Toolkit/NSViewController.h"
#include "KXFW/Platform/Toolkit/NSWindow.h"
#include "KXFW/UI/KXPlayPositionView.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace kx
{
class SerialQueue;
}

/// The ready-made player screen: open a file, play it, loop over a range, follow and move the position, export the
/// range with progress and Cancel.
///
/// It owns a player, which plays through a time-pitch effect at its defaults, and joins it to the controls of its
/// interface file: clicks and edits become calls of the player, and ten times a second the transport bar and the
/// position field follow it. Fields show frames of 44,100 a second. A subclass adds to the screen by overriding and
/// calling the base; it may bring an interface file of its own with the same outlets.
///
/// States: no file; stopped; playing; exporting, from the save panel's answer until the progress sheet ends. Buttons
/// follow the state after loading the screen, a load and a click on Play.
///
/// Everything happens on the main thread, but the two callbacks of an export: they come on the exporter's thread, touch
/// controls only through the main queue and outlive the screen without harm. When the screen goes, an export that is
/// under way stops and leaves a valid shorter file.
class KX_EXPORT KXAFilePlayerViewController : public NSViewController,
                                              public KXPlayPositionViewDelegate,
                                              public NSOpenSavePanelDelegate
{
public:
    /// The screen of the framework's own interface file, or of another one. [main]
    KXAFilePlayerViewController();
    KXAFilePlayerViewController(std::string nibName, NSBundle bundle); ///< [main]
    ~KXAFilePlayerViewController() override;                           ///< [main]

    // The fields; those of controls are empty before the screen is loaded and after it has gone. All [main].

    /// Whether an export may go on; cleared, the export stops at its next slice. [any]
    [[nodiscard]] bool continuesExporting() const noexcept;
    void setContinuesExporting(bool continues) noexcept; ///< [any]
    [[nodiscard]] const NSButton &openButton() const noexcept;
    void setOpenButton(const NSButton &button);
    [[nodiscard]] const NSButton &playButton() const noexcept;
    void setPlayButton(const NSButton &button);
    [[nodiscard]] const NSButton &loopButton() const noexcept;
    void setLoopButton(const NSButton &button);
    [[nodiscard]] const NSButton &exportButton() const noexcept;
    void setExportButton(const NSButton &button);
    [[nodiscard]] const NSTextField &fileNameField() const noexcept;
    void setFileNameField(const NSTextField &field);
    [[nodiscard]] const NSTextField &startTimeField() const noexcept; ///< Frames.
    void setStartTimeField(const NSTextField &field);
    [[nodiscard]] const NSTextField &endTimeField() const noexcept; ///< Frames.
    void setEndTimeField(const NSTextField &field);
    [[nodiscard]] const NSTextField &playTimeField() const noexcept; ///< Frames.
    void setPlayTimeField(const NSTextField &field);
    [[nodiscard]] const NSControl &rateSlider() const noexcept;
    void setRateSlider(const NSControl &slider);
    [[nodiscard]] const NSControl &pitchSlider() const noexcept;
    void setPitchSlider(const NSControl &slider);
    [[nodiscard]] const NSWindow &exportProgressSheet() const noexcept;
    void setExportProgressSheet(const NSWindow &sheet);
    [[nodiscard]] const NSProgressIndicator &exportProgressIndicator() const noexcept;
    void setExportProgressIndicator(const NSProgressIndicator &indicator);
    [[nodiscard]] std::shared_ptr<KXPlayPositionView> playPositionView() const;
    void setPlayPositionView(const std::shared_ptr<KXPlayPositionView> &view);
    [[nodiscard]] const std::shared_ptr<KXAFilePlayer> &player() const noexcept;
    void setPlayer(const std::shared_ptr<KXAFilePlayer> &player);
    [[nodiscard]] const std::shared_ptr<AVAudioUnitTimePitch> &pitch() const noexcept;
    void setPitch(const std::shared_ptr<AVAudioUnitTimePitch> &pitch);
    /// A queue for those who build on the screen; it uses it itself for nothing.
    [[nodiscard]] const std::shared_ptr<kx::SerialQueue> &stateChangeQueue() const noexcept;
    void setStateChangeQueue(const std::shared_ptr<kx::SerialQueue> &queue);
    [[nodiscard]] const std::shared_ptr<NSTimer> &timer() const noexcept;
    void setTimer(const std::shared_ptr<NSTimer> &timer);

    // Actions of the controls, which `sender` is not needed for. They and what follows want the screen to be loaded.
    // All [main].

    virtual void clickPlayButton(const NSControl &sender);
    virtual void clickLoopButton(const NSControl &sender);
    virtual void clickOpenButton(const NSControl &sender);
    virtual void clickExportButton(const NSControl &sender);
    virtual void clickCancelButton(const NSControl &sender);
    /// The three positions: the field's text as a frame of 32 bits, for the player and the transport bar.
    virtual void changePlayPosition(const NSControl &sender);
    virtual void changeStartPosition(const NSControl &sender);
    virtual void changeEndPosition(const NSControl &sender);
    virtual void changeRateSlider(const NSControl &sender);  ///< Nothing here: for a subclass.
    virtual void changePitchSlider(const NSControl &sender); ///< Nothing here: for a subclass.

    // The transport bar. All [main].

    void PlayPositionViewDidChangePlayFrame(int64_t frame) override;
    void PlayPositionViewDidChangeStartFrame(int64_t frame) override;
    void PlayPositionViewDidChangeEndFrame(int64_t frame) override;

    // Inside. All [main].

    /// A panel's question, where the screen is its delegate: files whose extension is exactly one of those allowed, and
    /// folders. The screen's own open panel goes by the extensions alone.
    [[nodiscard]] bool panel(NSSavePanel &sender, const std::filesystem::path &shouldEnableURL) override;
    void viewDidLoad() override;
    virtual void _timerFired(NSTimer *timer); ///< One poll; the timer is not needed.
    void _updatePlayFrame();
    virtual void _updateUI();
    void _startPlaying();
    void _stopPlaying();
    /// Loads the file and shows it, as after the open panel; a file that cannot be read leaves none, with an alert.
    /// @return whether it was loaded
    virtual bool _openFileAtURL(const std::filesystem::path &url);
    /// Exports the range to `url`, as after the save panel: with the progress sheet, later on the main queue. The
    /// window has to be shown: closing it, or the sheet, cancels. What fails ends in an alert that names the file. So
    /// does another export meanwhile, which changes nothing.
    void _exportToURL(const std::filesystem::path &url);
    /// From `_exportToURL` until the file is closed; a cancelled export still has to end.
    [[nodiscard]] bool isExporting() const noexcept;
    void _showFileReadingErrorAlert();
    /// The kinds of files that the open panel offers: "aiff", "wav", "mp3", "m4a".
    [[nodiscard]] virtual const std::vector<std::string> &_allowedExtensions() const;

protected:
    void declareConnections(kx::NibConnections &connections) override; ///< [main]

private:
    struct Impl;
    const std::unique_ptr<Impl> impl_;
};
