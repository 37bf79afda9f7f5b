#include "KXFW/UI/KXAFilePlayerViewController.h"

#include "KXFW/Platform/Foundation/StringTable.h"
#include "KXFW/Platform/Toolkit/NibConnections.h"

#include <typeinfo>
#include <utility>

namespace
{

constexpr double kPollSeconds = 0.1;

} // namespace

KXAFilePlayerViewController::KXAFilePlayerViewController()
    : KXAFilePlayerViewController("KXAFilePlayerViewController",
                                  NSBundle::bundleForClass(typeid(KXAFilePlayerViewController)))
{
}

KXAFilePlayerViewController::KXAFilePlayerViewController(std::string nibName, NSBundle bundle)
    : NSViewController(std::move(nibName), std::move(bundle))
{
}

KXAFilePlayerViewController::~KXAFilePlayerViewController()
{
    setContinuesExporting(false);
    if (timer_)
        timer_->invalidate();
    if (const auto bar = playPositionView())
        bar->setDelegate(nullptr);
}

const NSProgressIndicator &KXAFilePlayerViewController::exportProgressIndicator() const noexcept
{
    return exportProgressIndicator_;
}

const std::shared_ptr<kx::SerialQueue> &KXAFilePlayerViewController::stateChangeQueue() const noexcept
{
    return stateChangeQueue_;
}

void KXAFilePlayerViewController::declareConnections(kx::NibConnections &connections)
{
    using Self = KXAFilePlayerViewController;
    NSViewController::declareConnections(connections);
    connections.outlet("openButton", openButton_);
    connections.outlet("playButton", playButton_);
    connections.outlet("loopButton", loopButton_);
    connections.outlet("exportButton", exportButton_);
    connections.outlet("fileNameField", fileNameField_);
    connections.outlet("startTimeField", startTimeField_);
    connections.outlet("endTimeField", endTimeField_);
    connections.outlet("playTimeField", playTimeField_);
    connections.outlet("rateSlider", rateSlider_);
    connections.outlet("pitchSlider", pitchSlider_);
    connections.outlet("exportProgressSheet", exportProgressSheet_);
    connections.outlet("exportProgressIndicator", exportProgressIndicator_);
    connections.outlet("playPositionView", playPositionView_);
    const std::pair<const char *, void (Self::*)(const NSControl &)> actions[] = {
        {"clickPlayButton:", &Self::clickPlayButton},         {"clickLoopButton:", &Self::clickLoopButton},
        {"clickOpenButton:", &Self::clickOpenButton},         {"clickExportButton:", &Self::clickExportButton},
        {"clickCancelButton:", &Self::clickCancelButton},     {"changePlayPosition:", &Self::changePlayPosition},
        {"changeStartPosition:", &Self::changeStartPosition}, {"changeEndPosition:", &Self::changeEndPosition},
        {"changeRateSlider:", &Self::changeRateSlider},       {"changePitchSlider:", &Self::changePitchSlider},
    };
    for (const auto &[name, run] : actions)
        connections.action(name, this, run);
}

void KXAFilePlayerViewController::viewDidLoad()
{
    NSViewController::viewDidLoad();
    player_ = KXAFilePlayer::player();
    stateChangeQueue_ = std::make_shared<kx::SerialQueue>("KXAFilePlayerViewController.stateChangeQueue");
    timer_ = NSTimer::scheduledTimerWithTimeInterval(kPollSeconds,
                                                     [this] { _timerFired(timer_.get()); }); // ends with the screen
    pitch_ = std::make_shared<AVAudioUnitTimePitch>();
    player_->setEffect(pitch_->audioUnit());
    player_->setEffectMode(KXAEffectModeAU);
    _updateUI();
}

// Following the player

void KXAFilePlayerViewController::_timerFired(NSTimer *)
{
    _updatePlayFrame();
}

void KXAFilePlayerViewController::_updatePlayFrame()
{
    const auto bar = playPositionView();
    const int64_t frame = player_->frameOffset();
    if (!bar || frame == bar->playFrame())
        return;
    bar->setPlayFrame(frame);
    playTimeField_.setIntegerValue(frame);
}

void KXAFilePlayerViewController::_updateUI()
{
    const bool playing = player_->isPlaying();
    const bool loaded = player_->audioData() != nullptr;
    openButton_.setEnabled(!playing);
    exportButton_.setEnabled(!playing && loaded);
    playButton_.setTitle(kx::StringTable::framework().localizedStringForKey(playing ? "Stop" : "Play"));
    playButton_.setEnabled(loaded);
}

// Actions

void KXAFilePlayerViewController::clickPlayButton(const NSControl &)
{
    if (player_->isPlaying())
        _stopPlaying();
    else
        _startPlaying();
    _updateUI();
}

void KXAFilePlayerViewController::_startPlaying()
{
    player_->play();
}

void KXAFilePlayerViewController::_stopPlaying()
{
    player_->stop();
}

void KXAFilePlayerViewController::clickLoopButton(const NSControl &)
{
    player_->setLoop(loopButton_.state() == NSOnState);
}

void KXAFilePlayerViewController::changePlayPosition(const NSControl &)
{
    const int64_t frame = playTimeField_.intValue();
    player_->setPositionInFrame(frame);
    if (const auto bar = playPositionView())
        bar->setPlayFrame(frame);
}

void KXAFilePlayerViewController::changeStartPosition(const NSControl &)
{
    const int64_t frame = startTimeField_.intValue();
    player_->setStartOffsetInFrame(frame);
    if (const auto bar = playPositionView())
        bar->setStartFrame(frame);
}

void KXAFilePlayerViewController::changeEndPosition(const NSControl &)
{
    const int64_t frame = endTimeField_.intValue();
    player_->setEndOffsetInFrame(frame);
    if (const auto bar = playPositionView())
        bar->setEndFrame(frame);
}

void KXAFilePlayerViewController::changeRateSlider(const NSControl &) {}
void KXAFilePlayerViewController::changePitchSlider(const NSControl &) {}

// The transport bar

void KXAFilePlayerViewController::PlayPositionViewDidChangePlayFrame(int64_t frame)
{
    player_->setPositionInFrame(frame);
    playTimeField_.setIntegerValue(frame);
}

void KXAFilePlayerViewController::PlayPositionViewDidChangeStartFrame(int64_t frame)
{
    player_->setStartOffsetInFrame(frame);
    startTimeField_.setIntegerValue(frame);
}

void KXAFilePlayerViewController::PlayPositionViewDidChangeEndFrame(int64_t frame)
{
    player_->setEndOffsetInFrame(frame);
    endTimeField_.setIntegerValue(frame);
}
