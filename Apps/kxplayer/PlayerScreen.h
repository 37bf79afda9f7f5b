#pragma once

#include "Apps/kxplayer/FileOpener.h"
#include "Apps/kxplayer/WaveformOverview.h"
#include "KXFW/KXFWUI.h"

#include <QElapsedTimer>
#include <QTimer>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace kxplayer
{

class VolumeSlider;
class WaveformWidget;

/// The ready-made screen as a desktop player has it: buttons and fields that are right after every event, times beside
/// frames, a waveform, working rate, pitch and volume, and a play line that moves with what is heard. For the main
/// thread.
class PlayerScreen : public KXAFilePlayerViewController
{
public:
    PlayerScreen();
    ~PlayerScreen() override;

    /// Something that others show may have changed: the file, playing, loop, rate, volume.
    std::function<void()> changed;
    /// The position has jumped to this frame, asked for by whomever or at the end of a loop.
    std::function<void(int64_t frame)> jumped;

    [[nodiscard]] bool isLoaded() const;
    [[nodiscard]] bool isPlaying() const;
    [[nodiscard]] bool loops() const; ///< As the user wants it: an export plays the range once.
    [[nodiscard]] const std::filesystem::path &file() const noexcept { return file_; } ///< Empty without one.
    [[nodiscard]] uint64_t fileNumber() const noexcept { return fileNumber_; }         ///< Another one for each load.
    [[nodiscard]] int64_t numFrames() const;
    [[nodiscard]] int64_t shownFrame() const; ///< Where the play line is.

    /// Whether a file is being opened. What was open before stays so, and plays on, until the file is there.
    [[nodiscard]] bool isOpening() const noexcept { return opener_.isOpening(); }
    void cancelOpening();

    // All without effect while it exports, but for the range and the volume.
    void setPlaying(bool playing);
    void setLoop(bool loop);
    void moveTo(int64_t frame); ///< Limited to the file.
    void moveBy(int64_t frames) { moveTo(shownFrame() + frames); }
    void setRangeStart(int64_t frame); ///< Limited, so that the range keeps its least length.
    void setRangeEnd(int64_t frame);   ///< The same.
    [[nodiscard]] double rate() const;
    void setRate(double rate);
    [[nodiscard]] double gain() const;
    void setGain(double gain);
    void setNotice(const QString &text); ///< A line above the screen; empty for none.

    [[nodiscard]] const std::vector<std::string> &_allowedExtensions() const override; ///< All that can be opened.
    void viewDidLoad() override;
    void _timerFired(NSTimer *timer) override;
    void _updateUI() override;
    /// Opens the file in the background, instead of one that is being opened: always false. A file that cannot be read
    /// changes nothing, with an alert.
    bool _openFileAtURL(const std::filesystem::path &url) override;
    void clickExportButton(const NSControl &sender) override;
    void clickCancelOpeningButton(const NSControl &) { cancelOpening(); }
    void clickPlayButton(const NSControl &sender) override;
    void clickLoopButton(const NSControl &sender) override;
    void changePlayPosition(const NSControl &sender) override;
    void changeStartPosition(const NSControl &sender) override;
    void changeEndPosition(const NSControl &sender) override;
    void changeRateSlider(const NSControl &sender) override;
    void changePitchSlider(const NSControl &sender) override;
    void PlayPositionViewDidChangePlayFrame(int64_t frame) override;
    void PlayPositionViewDidChangeStartFrame(int64_t frame) override;
    void PlayPositionViewDidChangeEndFrame(int64_t frame) override;

protected:
    void declareConnections(kx::NibConnections &connections) override;

private:
    void takeFile(const kx::Result<kx::File> &opened);
    void showFile(const std::filesystem::path &file);
    void showOpening(bool opening);
    void reportFailures() const;
    void followPalette(const QPalette &colors);
    void followHeardFrame();
    void showLine(int64_t frame);
    void addKeys(const NSTextField &field);
    void keepPlace(bool exporting);
    void showRange();
    void showPosition(int64_t frame);
    void hasJumpedTo(int64_t frame);
    void tellChange() const;

    NSTextField positionTimeLabel_, lengthTimeLabel_, startTimeText_, endTimeText_, rateValueLabel_, pitchValueLabel_;
    NSTextField noticeLabel_, openingLabel_;
    NSSlider rateControl_, pitchControl_;
    FileOpener opener_{[this](const kx::Result<kx::File> &opened) { takeFile(opened); }};
    QTimer openingNotice_; ///< until an opening takes so long that it is told
    WaveformOverview overview_;
    WaveformWidget *waveform_ = nullptr; ///< owned by the view
    VolumeSlider *volume_ = nullptr;     ///< the same
    QTimer refresh_;                     ///< runs while the play line moves
    std::optional<int64_t> jumpTarget_;  ///< until it is heard
    QElapsedTimer sinceJump_;
    std::filesystem::path file_;
    uint64_t fileNumber_ = 0;
    int64_t frameBeforeExport_ = 0;
    bool shownPlaying_ = false;
    bool shownLoaded_ = false;
};

} // namespace kxplayer
