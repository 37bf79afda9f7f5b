#pragma once

#include "Apps/kxplayer/FileOpener.h"
#include "Apps/kxplayer/Timeline/History.h"
#include "Apps/kxplayer/Timeline/RangeRules.h"
#include "Apps/kxplayer/Timeline/TimelineModel.h"
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

/// What the user sets, and can take back.
struct PlayerSettings {
    kx::Range range;
    bool loops = true;
    double rate = 0; ///< of the slider
    double pitch = 0;
    double gain = 1;

    bool operator==(const PlayerSettings &) const = default;
};

/// The ready-made screen as a desktop player has it: buttons and fields that are right after every event, times beside
/// frames, a timeline in place of the bar, working rate, pitch and volume, and a play line that moves with what is
/// heard. Where the line was put outside the range with the loop on, it plays on from there, and loops once it has come
/// into the range. For the main thread.
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
    [[nodiscard]] kx::Frames length() const { return kx::Frames(numFrames()); }
    [[nodiscard]] int64_t shownFrame() const { return timeline_.line(); } ///< Where the play line is.
    [[nodiscard]] kx::Range range() const { return timeline_.range(); }
    [[nodiscard]] TimelineModel &timeline() noexcept { return timeline_; }

    /// Whether a file is being opened. What was open before stays so, and plays on, until the file is there.
    [[nodiscard]] bool isOpening() const noexcept { return opener_.isOpening(); }
    void cancelOpening();

    // All without effect while it exports, but for the range and the volume.
    void setPlaying(bool playing);
    void setLoop(bool loop);
    void moveTo(int64_t frame); ///< Limited to the file.
    void moveBy(int64_t frames) { moveTo(shownFrame() + frames); }
    /// A start behind the end moves the end to the file's end, an end before the start the start to the file's.
    void setRangeStart(int64_t frame);
    void setRangeEnd(int64_t frame);
    void nudgeRange(RangeEnd end, kx::Frames by); ///< Limited by the other end.
    void clearRange();                            ///< The whole file is the range.
    void restartLoop();                           ///< From the range's start.
    /// Whether the ends of ranges that are set go to the nearest zero crossing, up to 10 ms away.
    [[nodiscard]] bool snaps() const noexcept { return snaps_; }
    void setSnaps(bool snaps) noexcept { snaps_ = snaps; }
    [[nodiscard]] double rate() const;
    void setRate(double rate);
    [[nodiscard]] double gain() const;
    void setGain(double gain);
    void setNotice(const QString &text); ///< A line above the screen; empty for none.

    // Range, loop, rate, pitch and volume, since the file was opened. A drag, or keys that nudge soon after each other,
    // are one step.
    [[nodiscard]] bool canUndo() const noexcept { return history_.canUndo(); }
    [[nodiscard]] bool canRedo() const noexcept { return history_.canRedo(); }
    void undo();
    void redo();

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

protected:
    void declareConnections(kx::NibConnections &connections) override;

private:
    /// Which changes soon after each other are one step: those of the same kind, but single ones.
    enum class Change : uint8_t { Single, Nudge, Rate, Pitch, Volume };

    void addTimeline();
    void watchSlider(QWidget *holder);
    void takeFile(const kx::Result<kx::File> &opened);
    void showFile(const std::filesystem::path &file);
    void showOpening(bool opening);
    void reportFailures() const;
    void followPalette(const QPalette &colors);
    void followHeardFrame();
    void addKeys(const NSTextField &field);
    void keepPlace(bool exporting);
    void showRange();
    void showPosition(int64_t frame);
    void hasJumpedTo(int64_t frame);
    void tellChange() const;

    [[nodiscard]] kx::Range playedRange() const;
    void place(int64_t frame);
    void changeRange(const kx::Range &range, Change kind);
    void takeRange(const kx::Range &before);
    void loopAsWanted(bool playing);
    void noteArrival();
    void snapRange();
    void snapEnd(const kx::Range &range, int64_t start);
    [[nodiscard]] PlayerSettings settings() const;
    void note(Change kind);
    void beginStep();
    void endStep();
    void restore(const PlayerSettings &settings);

    NSTextField positionTimeLabel_, lengthTimeLabel_, startTimeText_, endTimeText_, rateValueLabel_, pitchValueLabel_;
    NSTextField noticeLabel_, openingLabel_;
    NSSlider rateControl_, pitchControl_;
    FileOpener opener_{[this](const kx::Result<kx::File> &opened) { takeFile(opened); }};
    QTimer openingNotice_; ///< until an opening takes so long that it is told
    TimelineModel timeline_;
    SampleReader snapReader_;
    VolumeSlider *volume_ = nullptr;    ///< owned by the view
    QTimer refresh_;                    ///< runs while the play line moves
    std::optional<int64_t> jumpTarget_; ///< until it is heard
    QElapsedTimer sinceJump_;
    std::filesystem::path file_;
    uint64_t fileNumber_ = 0;
    int64_t frameBeforeExport_ = 0;
    bool waitsForRange_ = false; ///< the line was put outside the range and has not come into it
    bool snaps_ = false;
    History<PlayerSettings> history_;
    int step_ = 0; ///< of the history
    Change lastChange_ = Change::Single;
    QElapsedTimer sinceChange_;
    std::optional<kx::Range> rangeBeforeHand_; ///< while the user holds something
    bool restores_ = false;
    bool shownPlaying_ = false;
    bool shownLoaded_ = false;
};

} // namespace kxplayer
