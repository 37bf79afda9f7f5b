#include "Apps/kxplayer/Timeline/TimelineModel.h"

#include "Apps/kxplayer/Timeline/RangeRules.h"

#include <QTimerEvent>

#include <algorithm>
#include <utility>

namespace kxplayer
{

namespace
{

constexpr int kGrowthMilliseconds = 50;
constexpr double kSampleMargin = 0.5; ///< of what is seen, at either side
constexpr double kMostGain = 100;

} // namespace

kx::Frames TimelineModel::length() const noexcept
{
    return kx::Frames(source_.overview ? source_.overview->numFrames() : 0);
}

bool TimelineModel::hasRange() const noexcept
{
    return hasFile() && range_ != wholeOf(length());
}

double TimelineModel::gain() const
{
    const auto all = style_.normalised && hasFile() ? source_.overview->blockOf(0, length().count()) : std::nullopt;
    if (!all)
        return 1;
    int loudest = 1;
    for (const Extent &extent : {all->left, all->right})
        loudest = std::max({loudest, -int{extent.least}, int{extent.greatest}});
    return std::min(-double(INT16_MIN) / loudest, kMostGain);
}

void TimelineModel::open(const std::filesystem::path &file, kx::Frames length)
{
    source_ = {overviews_.open(file, length.count()), nullptr};
    samples_.open(file);
    wantedFirst_ = wantedEnd_ = 0;
    shownFrames_ = source_.overview->framesDone();
    growth_.start(kGrowthMilliseconds, this);
    range_ = wholeOf(length);
    view_ = Viewport(length.count(), view_.width());
    showsRange_ = false;
    line_ = 0;
    emit waveChanged();
    emit rangeChanged();
    emit viewChanged();
}

void TimelineModel::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != growth_.timerId())
        return QObject::timerEvent(event);
    if (source_.overview->hasEnded()) // asked first: what is known then is all there will be
        growth_.stop();
    const int64_t done = source_.overview->framesDone();
    if (std::exchange(shownFrames_, done) != done || !growth_.isActive())
        emit waveChanged();
}

void TimelineModel::setView(const Viewport &view)
{
    if (!hasFile() || view == view_)
        return;
    view_ = view;
    showsRange_ = false;
    emit viewChanged();
}

void TimelineModel::setWidth(double pixels)
{
    view_ = view_.resized(pixels);
    viewBeforeRange_ = viewBeforeRange_.resized(pixels);
    emit viewChanged();
}

void TimelineModel::zoom(double factor)
{
    const auto line = static_cast<double>(line_);
    setView(view_.zoomedAt(view_.shows(line) ? view_.xOf(line) : view_.width() / 2, factor));
}

void TimelineModel::panByPages(double pages)
{
    setView(view_.pannedBy(view_.width() * pages));
}

void TimelineModel::toggleZoomToRange()
{
    if (showsRange_)
        return setView(viewBeforeRange_);
    const Viewport before = view_;
    setView(view_.showing(static_cast<double>(range_.start.count()), static_cast<double>(range_.end.count())));
    viewBeforeRange_ = before;
    showsRange_ = view_ != before;
}

void TimelineModel::setRange(const kx::Range &range)
{
    if (std::exchange(range_, range) != range)
        emit rangeChanged();
}

void TimelineModel::setLoops(bool loops)
{
    if (std::exchange(loops_, loops) != loops)
        emit rangeChanged();
}

void TimelineModel::moveLine(int64_t frame, bool byItself)
{
    const int64_t before = std::exchange(line_, frame);
    const auto place = static_cast<double>(frame);
    const bool showedRange = showsRange_;
    if (byItself)
        setView(followed(view_, static_cast<double>(before), place, follow_));
    else if (!view_.shows(place))
        setView(view_.startingAt(place - view_.span() / 2));
    showsRange_ = showedRange;
    if (before != frame)
        emit lineMoved(before);
}

void TimelineModel::setStyle(const Style &style)
{
    if (std::exchange(style_, style) != style)
        emit waveChanged();
}

void TimelineModel::wantSamples(double perPoint)
{
    if (!source_.wantsSamples(view_.framesPerPixel() / perPoint))
        return;
    const double margin = view_.span() * kSampleMargin;
    const auto limited = [&](double frame) {
        return std::clamp<int64_t>(static_cast<int64_t>(frame), 0, length().count());
    };
    const int64_t first = limited(view_.firstFrame() - 1);
    const int64_t end = limited(view_.endFrame() + 2);
    if (wantedFirst_ <= first && end <= wantedEnd_)
        return;
    wantedFirst_ = limited(view_.firstFrame() - margin - 1);
    wantedEnd_ = limited(view_.endFrame() + margin + 2);
    samples_.read(wantedFirst_, wantedEnd_, [this](const auto &samples) { takeSamples(samples); });
}

void TimelineModel::takeSamples(const std::shared_ptr<const SampleWindow> &samples)
{
    source_.samples = samples;
    emit waveChanged();
}

} // namespace kxplayer
