// What the user does on the screen.
#include "Apps/kxplayer/PlayerScreen.h"

#include "Apps/kxplayer/PlayerCommands.h"
#include "Apps/kxplayer/TimeText.h"
#include "Apps/kxplayer/VolumeSlider.h"
#include "Apps/kxplayer/WaveformWidget.h"

#include <QLineEdit>

#include <algorithm>
#include <cmath>

namespace
{

constexpr double kStepsPerOctave = 100; // of the rate slider: 0 is as fast as the file, 100 twice as fast

/// What a field holds: a frame, or a time with a colon or a point.
std::optional<int64_t> frameOf(const NSTextField &field)
{
    const QString text = QString::fromStdString(field.stringValue()).trimmed();
    bool isFrame = false;
    const qlonglong frame = text.toLongLong(&isFrame);
    return isFrame ? std::optional<int64_t>(frame) : kxplayer::framesOfText(text.toStdString());
}

} // namespace

// Playing

void kxplayer::PlayerScreen::setPlaying(bool playing)
{
    if (isLoaded() && !isExporting() && playing != isPlaying())
        clickPlayButton(playButton());
}

void kxplayer::PlayerScreen::clickPlayButton(const NSControl &sender)
{
    const bool stops = isPlaying();
    const int64_t end = loops() ? player()->endOffsetInFrame() : numFrames(); // without loop it plays beyond the range
    if (!stops && player()->frameOffset() >= end)
        moveTo(player()->startOffsetInFrame());
    KXAFilePlayerViewController::clickPlayButton(sender);
    if (stops)
        player()->setPositionToHeardFrame();
}

void kxplayer::PlayerScreen::setLoop(bool loop)
{
    if (isExporting())
        return;
    loopButton().setState(loop ? NSOnState : NSOffState);
    clickLoopButton(loopButton());
}

void kxplayer::PlayerScreen::clickLoopButton(const NSControl &sender)
{
    KXAFilePlayerViewController::clickLoopButton(sender);
    tellChange();
}

// The position and the range

void kxplayer::PlayerScreen::moveTo(int64_t frame)
{
    if (!isLoaded() || isExporting())
        return;
    player()->setPositionInFrame(std::clamp<int64_t>(frame, 0, numFrames()));
    hasJumpedTo(player()->frameOffset()); // with loop on, a frame outside the range goes to its start
}

void kxplayer::PlayerScreen::setRangeStart(int64_t frame)
{
    const int64_t latest = std::max<int64_t>(player()->endOffsetInFrame() - kMinimumLoopRange, 0);
    player()->setStartOffsetInFrame(std::clamp<int64_t>(frame, 0, latest));
    showRange();
}

void kxplayer::PlayerScreen::setRangeEnd(int64_t frame)
{
    const int64_t earliest = std::min(player()->startOffsetInFrame() + kMinimumLoopRange, numFrames());
    player()->setEndOffsetInFrame(std::clamp(frame, earliest, numFrames()));
    showRange();
}

void kxplayer::PlayerScreen::changePlayPosition(const NSControl &)
{
    const auto frame = frameOf(playTimeField());
    if (auto *field = qobject_cast<QLineEdit *>(playTimeField().widget()))
        field->setModified(false);
    moveTo(frame.value_or(shownFrame()));
}

void kxplayer::PlayerScreen::changeStartPosition(const NSControl &)
{
    setRangeStart(frameOf(startTimeField()).value_or(player()->startOffsetInFrame()));
}

void kxplayer::PlayerScreen::changeEndPosition(const NSControl &)
{
    setRangeEnd(frameOf(endTimeField()).value_or(player()->endOffsetInFrame()));
}

void kxplayer::PlayerScreen::PlayPositionViewDidChangePlayFrame(int64_t frame)
{
    KXAFilePlayerViewController::PlayPositionViewDidChangePlayFrame(frame);
    hasJumpedTo(player()->frameOffset()); // with loop on, a frame outside the range goes to its start
}

void kxplayer::PlayerScreen::PlayPositionViewDidChangeStartFrame(int64_t frame)
{
    KXAFilePlayerViewController::PlayPositionViewDidChangeStartFrame(frame);
    showRange();
}

void kxplayer::PlayerScreen::PlayPositionViewDidChangeEndFrame(int64_t frame)
{
    KXAFilePlayerViewController::PlayPositionViewDidChangeEndFrame(frame);
    showRange();
}

// The effect and the volume

double kxplayer::PlayerScreen::rate() const
{
    return double{pitch()->rate()};
}

void kxplayer::PlayerScreen::setRate(double rate)
{
    if (isExporting())
        return;
    rateControl_.setDoubleValue(std::round(std::log2(std::clamp(rate, kLeastRate, kGreatestRate)) * kStepsPerOctave));
    changeRateSlider(rateControl_);
}

void kxplayer::PlayerScreen::changeRateSlider(const NSControl &)
{
    const double rate = std::exp2(rateControl_.doubleValue() / kStepsPerOctave);
    pitch()->setRate(static_cast<float>(rate));
    rateValueLabel_.setStringValue(QString("× %1").arg(rate, 0, 'f', 2).toStdString());
    tellChange();
}

void kxplayer::PlayerScreen::changePitchSlider(const NSControl &)
{
    const double cents = std::round(pitchControl_.doubleValue());
    pitch()->setPitch(static_cast<float>(cents));
    pitchValueLabel_.setStringValue(QString("%1 cents").arg(cents).toStdString());
}

double kxplayer::PlayerScreen::gain() const
{
    return volume_->gain();
}

void kxplayer::PlayerScreen::setGain(double gain)
{
    volume_->setGain(gain);
}
