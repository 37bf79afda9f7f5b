// The fields: getters and setters.
#include "KXFW/UI/KXAFilePlayerViewControllerImpl.h"

bool KXAFilePlayerViewController::continuesExporting() const noexcept
{
    return *impl_->continuesExporting;
}

const NSButton &KXAFilePlayerViewController::openButton() const noexcept
{
    return impl_->openButton;
}

const NSButton &KXAFilePlayerViewController::playButton() const noexcept
{
    return impl_->playButton;
}

const NSButton &KXAFilePlayerViewController::loopButton() const noexcept
{
    return impl_->loopButton;
}

const NSButton &KXAFilePlayerViewController::exportButton() const noexcept
{
    return impl_->exportButton;
}

const NSTextField &KXAFilePlayerViewController::fileNameField() const noexcept
{
    return impl_->fileNameField;
}

const NSTextField &KXAFilePlayerViewController::startTimeField() const noexcept
{
    return impl_->startTimeField;
}

const NSTextField &KXAFilePlayerViewController::endTimeField() const noexcept
{
    return impl_->endTimeField;
}

const NSTextField &KXAFilePlayerViewController::playTimeField() const noexcept
{
    return impl_->playTimeField;
}

const NSControl &KXAFilePlayerViewController::rateSlider() const noexcept
{
    return impl_->rateSlider;
}

const NSControl &KXAFilePlayerViewController::pitchSlider() const noexcept
{
    return impl_->pitchSlider;
}

const NSWindow &KXAFilePlayerViewController::exportProgressSheet() const noexcept
{
    return impl_->exportProgressSheet;
}

std::shared_ptr<KXPlayPositionView> KXAFilePlayerViewController::playPositionView() const
{
    return impl_->playPositionView.lock();
}

const std::shared_ptr<KXAFilePlayer> &KXAFilePlayerViewController::player() const noexcept
{
    return impl_->player;
}

const std::shared_ptr<AVAudioUnitTimePitch> &KXAFilePlayerViewController::pitch() const noexcept
{
    return impl_->pitch;
}

const std::shared_ptr<NSTimer> &KXAFilePlayerViewController::timer() const noexcept
{
    return impl_->timer;
}

bool KXAFilePlayerViewController::isExporting() const noexcept
{
    return impl_->isExporting;
}

void KXAFilePlayerViewController::setContinuesExporting(bool continues) noexcept
{
    *impl_->continuesExporting = continues;
}

void KXAFilePlayerViewController::setOpenButton(const NSButton &button)
{
    impl_->openButton = button;
}

void KXAFilePlayerViewController::setPlayButton(const NSButton &button)
{
    impl_->playButton = button;
}

void KXAFilePlayerViewController::setLoopButton(const NSButton &button)
{
    impl_->loopButton = button;
}

void KXAFilePlayerViewController::setExportButton(const NSButton &button)
{
    impl_->exportButton = button;
}

void KXAFilePlayerViewController::setFileNameField(const NSTextField &field)
{
    impl_->fileNameField = field;
}

void KXAFilePlayerViewController::setStartTimeField(const NSTextField &field)
{
    impl_->startTimeField = field;
}

void KXAFilePlayerViewController::setEndTimeField(const NSTextField &field)
{
    impl_->endTimeField = field;
}

void KXAFilePlayerViewController::setPlayTimeField(const NSTextField &field)
{
    impl_->playTimeField = field;
}

void KXAFilePlayerViewController::setRateSlider(const NSControl &slider)
{
    impl_->rateSlider = slider;
}

void KXAFilePlayerViewController::setPitchSlider(const NSControl &slider)
{
    impl_->pitchSlider = slider;
}

void KXAFilePlayerViewController::setExportProgressSheet(const NSWindow &sheet)
{
    impl_->exportProgressSheet = sheet;
}

void KXAFilePlayerViewController::setExportProgressIndicator(const NSProgressIndicator &indicator)
{
    impl_->exportProgressIndicator = indicator;
}

void KXAFilePlayerViewController::setPlayPositionView(const std::shared_ptr<KXPlayPositionView> &view)
{
    impl_->playPositionView = view;
}

void KXAFilePlayerViewController::setPlayer(const std::shared_ptr<KXAFilePlayer> &player)
{
    impl_->player = player;
}

void KXAFilePlayerViewController::setPitch(const std::shared_ptr<AVAudioUnitTimePitch> &pitch)
{
    impl_->pitch = pitch;
}

void KXAFilePlayerViewController::setStateChangeQueue(const std::shared_ptr<kx::SerialQueue> &queue)
{
    impl_->stateChangeQueue = queue;
}

void KXAFilePlayerViewController::setTimer(const std::shared_ptr<NSTimer> &timer)
{
    impl_->timer = timer;
}

const NSProgressIndicator &KXAFilePlayerViewController::exportProgressIndicator() const noexcept
{
    return impl_->exportProgressIndicator;
}

const std::shared_ptr<kx::SerialQueue> &KXAFilePlayerViewController::stateChangeQueue() const noexcept
{
    return impl_->stateChangeQueue;
}
