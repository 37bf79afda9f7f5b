#pragma once

#include "Apps/kxplayer/Timeline/OverviewReader.h"
#include "Apps/kxplayer/Timeline/SampleReader.h"
#include "Apps/kxplayer/Timeline/Viewport.h"
#include "Apps/kxplayer/Timeline/WaveSource.h"
#include "kx/Frames.h"

#include <QBasicTimer>
#include <QObject>

#include <filesystem>

namespace kxplayer
{

/// What a timeline shows of a file: the waveform, which part of it is seen, the range, the play line. It knows no
/// widget. For the main thread.
class TimelineModel : public QObject
{
    Q_OBJECT

public:
    struct Style {
        bool lanes = false;      ///< a lane for each channel
        bool normalised = false; ///< as high as the loudest sample that is known
        bool operator==(const Style &) const = default;
    };

    // What is shown

    [[nodiscard]] bool hasFile() const noexcept { return source_.overview != nullptr; }
    [[nodiscard]] kx::Frames length() const noexcept;
    [[nodiscard]] const Viewport &view() const noexcept { return view_; }
    [[nodiscard]] const WaveSource &source() const noexcept { return source_; }
    [[nodiscard]] kx::Range range() const noexcept { return range_; }
    /// Whether the range is another one than the whole file.
    [[nodiscard]] bool hasRange() const noexcept;
    [[nodiscard]] bool loops() const noexcept { return loops_; }
    [[nodiscard]] int64_t line() const noexcept { return line_; }
    [[nodiscard]] Style style() const noexcept { return style_; }
    [[nodiscard]] double gain() const; ///< By which samples are painted larger: 1 where they are not normalised.
    [[nodiscard]] Follow follow() const noexcept { return follow_; }

    // Commands

    /// Shows all of a file of `length`, whose waveform appears as it is read.
    void open(const std::filesystem::path &file, kx::Frames length);
    void setView(const Viewport &view);
    void setWidth(double pixels);
    /// Twice as large, or half as large, around the play line where that is seen, else around the middle.
    void zoom(double factor);
    void panByPages(double pages);
    /// The range, or what was seen before that.
    void toggleZoomToRange();
    void setRange(const kx::Range &range);
    void setLoops(bool loops);
    /// The line has moved on by itself, and the view may follow; else it was put there, and is brought into view.
    void moveLine(int64_t frame, bool byItself);
    void setStyle(const Style &style);
    void setFollow(Follow follow) noexcept { follow_ = follow; }
    /// The samples of what is seen are painted by pixels of which `perPoint` make one of the view's.
    void wantSamples(double perPoint);

signals:
    void viewChanged();
    void rangeChanged();
    void lineMoved(qint64 before);
    void waveChanged(); ///< More of it is known, or another part in detail.

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    void takeSamples(const std::shared_ptr<const SampleWindow> &samples);

    OverviewReader overviews_;
    SampleReader samples_;
    WaveSource source_;
    Viewport view_;
    Viewport viewBeforeRange_;
    bool showsRange_ = false; ///< since the zoom to it the view has not changed
    kx::Range range_;
    bool loops_ = true;
    int64_t line_ = 0;
    Style style_;
    Follow follow_ = Follow::Page;
    int64_t wantedFirst_ = 0; ///< of the samples that were asked for last
    int64_t wantedEnd_ = 0;
    int64_t shownFrames_ = 0; ///< of the overview, those that are known to whom it was told
    QBasicTimer growth_;
};

} // namespace kxplayer
