#include "KXFW/UI/KXAFilePlayerViewControllerImpl.h"

#include "KXFW/Platform/Dispatch/SerialQueue.h"
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
    : NSViewController(std::move(nibName), std::move(bundle)), impl_(std::make_unique<Impl>(*this))
{
}

KXAFilePlayerViewController::~KXAFilePlayerViewController()
{
    setContinuesExporting(false);
    if (impl_->timer)
        impl_->timer->invalidate();
    if (const auto bar = playPositionView())
        bar->setDelegate(nullptr);
}

void KXAFilePlayerViewController::declareConnections(kx::NibConnections &connections)
{
    using Self = KXAFilePlayerViewController;
    NSViewController::declareConnections(connections);
    connections.outlet("openButton", impl_->openButton);
    connections.outlet("playButton", impl_->playButton);
    connections.outlet("loopButton", impl_->loopButton);
    connections.outlet("exportButton", impl_->exportButton);
    connections.outlet("fileNameField", impl_->fileNameField);
    connections.outlet("startTimeField", impl_->startTimeField);
    connections.outlet("endTimeField", impl_->endTimeField);
    connections.outlet("playTimeField", impl_->playTimeField);
    connections.outlet("rateSlider", impl_->rateSlider);
    connections.outlet("pitchSlider", impl_->pitchSlider);
    connections.outlet("exportProgressSheet", impl_->exportProgressSheet);
    connections.outlet("exportProgressIndicator", impl_->exportProgressIndicator);
    connections.outlet("playPositionView", impl_->playPositionView);
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
    impl_->player = KXAFilePlayer::player();
    impl_->stateChangeQueue = std::make_shared<kx::SerialQueue>("KXAFilePlayerViewController.stateChangeQueue");
    impl_->timer = NSTimer::scheduledTimerWithTimeInterval(
        kPollSeconds, [this] { _timerFired(impl_->timer.get()); }); // ends with the screen
    impl_->pitch = std::make_shared<AVAudioUnitTimePitch>();
    impl_->player->setEffect(impl_->pitch->audioUnit());
    impl_->player->setEffectMode(KXAEffectModeAU);
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
    const int64_t frame = impl_->player->frameOffset();
    if (!bar || frame == bar->playFrame())
        return;
    bar->setPlayFrame(frame);
    impl_->playTimeField.setIntegerValue(frame);
}

void KXAFilePlayerViewController::_updateUI()
{
    const bool playing = impl_->player->isPlaying();
    const bool loaded = impl_->player->audioData() != nullptr;
    impl_->openButton.setEnabled(!playing);
    impl_->exportButton.setEnabled(!playing && loaded);
    impl_->playButton.setTitle(kx::StringTable::framework().localizedStringForKey(playing ? "Stop" : "Play"));
    impl_->playButton.setEnabled(loaded);
}

// Actions

void KXAFilePlayerViewController::clickPlayButton(const NSControl &)
{
    if (impl_->player->isPlaying())
        _stopPlaying();
    else
        _startPlaying();
    _updateUI();
}

void KXAFilePlayerViewController::_startPlaying()
{
    impl_->player->play();
}

void KXAFilePlayerViewController::_stopPlaying()
{
    impl_->player->stop();
}

void KXAFilePlayerViewController::clickLoopButton(const NSControl &)
{
    impl_->player->setLoop(impl_->loopButton.state() == NSOnState);
}

void KXAFilePlayerViewController::changePlayPosition(const NSControl &)
{
    const int64_t frame = impl_->playTimeField.intValue();
    impl_->player->setPositionInFrame(frame);
    if (const auto bar = playPositionView())
        bar->setPlayFrame(frame);
}

void KXAFilePlayerViewController::changeStartPosition(const NSControl &)
{
    const int64_t frame = impl_->startTimeField.intValue();
    impl_->player->setStartOffsetInFrame(frame);
    if (const auto bar = playPositionView())
        bar->setStartFrame(frame);
}

void KXAFilePlayerViewController::changeEndPosition(const NSControl &)
{
    const int64_t frame = impl_->endTimeField.intValue();
    impl_->player->setEndOffsetInFrame(frame);
    if (const auto bar = playPositionView())
        bar->setEndFrame(frame);
}

void KXAFilePlayerViewController::changeRateSlider(const NSControl &) {}
void KXAFilePlayerViewController::changePitchSlider(const NSControl &) {}

// The transport bar

void KXAFilePlayerViewController::PlayPositionViewDidChangePlayFrame(int64_t frame)
{
    impl_->player->setPositionInFrame(frame);
    impl_->playTimeField.setIntegerValue(frame);
}

void KXAFilePlayerViewController::PlayPositionViewDidChangeStartFrame(int64_t frame)
{
    impl_->player->setStartOffsetInFrame(frame);
    impl_->startTimeField.setIntegerValue(frame);
}

void KXAFilePlayerViewController::PlayPositionViewDidChangeEndFrame(int64_t frame)
{
    impl_->player->setEndOffsetInFrame(frame);
    impl_->endTimeField.setIntegerValue(frame);
}
