// What the user can take back.
#include "Apps/kxplayer/PlayerScreen.h"

#include "Apps/kxplayer/VolumeSlider.h"

#include <utility>

namespace
{

constexpr int kOneStepMilliseconds = 1000; // between changes that keys or a wheel make one after the other

} // namespace

kxplayer::PlayerSettings kxplayer::PlayerScreen::settings() const
{
    return {range(), loops(), rateControl_.doubleValue(), pitchControl_.doubleValue(), volume_->gain()};
}

void kxplayer::PlayerScreen::note(Change kind)
{
    const bool isSoon = kind == lastChange_ && kind != Change::Single && sinceChange_.isValid() &&
                        sinceChange_.elapsed() < kOneStepMilliseconds;
    if (!rangeBeforeHand_ && !isSoon)
        ++step_;
    lastChange_ = kind;
    sinceChange_.start();
    if (!restores_)
        history_.change(settings(), step_);
    tellChange();
}

void kxplayer::PlayerScreen::beginStep()
{
    ++step_;
    rangeBeforeHand_ = range();
}

void kxplayer::PlayerScreen::endStep()
{
    lastChange_ = Change::Single;
    if (const auto before = std::exchange(rangeBeforeHand_, std::nullopt); before && *before != range())
        takeRange(*before);
}

void kxplayer::PlayerScreen::undo()
{
    if (!isExporting() && !rangeBeforeHand_)
        restore(history_.undo());
}

void kxplayer::PlayerScreen::redo()
{
    if (!isExporting() && !rangeBeforeHand_)
        restore(history_.redo());
}

void kxplayer::PlayerScreen::restore(const PlayerSettings &settings)
{
    restores_ = true;
    rateControl_.setDoubleValue(settings.rate);
    changeRateSlider(rateControl_);
    pitchControl_.setDoubleValue(settings.pitch);
    changePitchSlider(pitchControl_);
    setGain(settings.gain);
    loopButton().setState(settings.loops ? NSOnState : NSOffState);
    timeline_.setLoops(settings.loops);
    timeline_.setRange(settings.range);
    showRange();
    loopAsWanted(isPlaying());
    restores_ = false;
    tellChange();
}
