// What the user does on the screen.
#include "Apps/kxplayer/PlayerScreen.h"

#include "Apps/kxplayer/PlayerCommands.h"
#include "Apps/kxplayer/TimeText.h"
#include "Apps/kxplayer/VolumeSlider.h"

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
    const int64_t end = loops() && !waitsForRange_ ? range().end.count() : numFrames();
    if (!stops && player()->frameOffset() >= end)
        moveTo(range().start.count());
    if (!stops) {
        loopAsWanted(true);
        timeline_.moveLine(shownFrame(), false);
    }
    KXAFilePlayerViewController::clickPlayButton(sender);
    if (stops)
        place(player()->heardFrame().frame);
}

void kxplayer::PlayerScreen::setLoop(bool loop)
{
    if (isExporting())
        return;
    loopButton().setState(loop ? NSOnState : NSOffState);
    clickLoopButton(loopButton());
}

void kxplayer::PlayerScreen::clickLoopButton(const NSControl &)
{
    timeline_.setLoops(loops());
    loopAsWanted(isPlaying());
    note(Change::Single);
}

// The position and the range, as fields tell them

void kxplayer::PlayerScreen::changePlayPosition(const NSControl &)
{
    const auto frame = frameOf(playTimeField());
    if (auto *field = qobject_cast<QLineEdit *>(playTimeField().widget()))
        field->setModified(false);
    moveTo(frame.value_or(shownFrame()));
}

void kxplayer::PlayerScreen::changeStartPosition(const NSControl &)
{
    setRangeStart(frameOf(startTimeField()).value_or(range().start.count()));
}

void kxplayer::PlayerScreen::changeEndPosition(const NSControl &)
{
    setRangeEnd(frameOf(endTimeField()).value_or(range().end.count()));
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
    note(Change::Rate);
}

void kxplayer::PlayerScreen::changePitchSlider(const NSControl &)
{
    const double cents = std::round(pitchControl_.doubleValue());
    pitch()->setPitch(static_cast<float>(cents));
    pitchValueLabel_.setStringValue(QString("%1 cents").arg(cents).toStdString());
    note(Change::Pitch);
}

double kxplayer::PlayerScreen::gain() const
{
    return volume_->gain();
}

void kxplayer::PlayerScreen::setGain(double gain)
{
    volume_->setGain(gain);
}
