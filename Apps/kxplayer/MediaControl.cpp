#include "Apps/kxplayer/MediaControl.h"

#include <utility>

namespace kxplayer
{

MediaControl::MediaControl(PlayerScreen &screen, QWidget &window, OpenFile open, const QDBusConnection &bus)
    : screen_(screen), window_(window), open_(std::move(open)), service_(*this, bus)
{
    tellState();
}

void MediaControl::tellState()
{
    const int64_t shown = screen_.shownFrame();
    PlayerState state;
    if (screen_.isPlaying())
        state.playback = Playback::Playing;
    else if (shown > screen_.range().start.count() && shown < screen_.numFrames())
        state.playback = Playback::Paused;
    state.loops = screen_.loops();
    state.rate = screen_.rate();
    state.gain = screen_.gain();
    state.file = screen_.file();
    state.fileNumber = screen_.fileNumber();
    state.numFrames = screen_.numFrames();
    service_.setState(state);
}

void MediaControl::tellJump(int64_t frame)
{
    service_.announceJump(frame);
}

void MediaControl::play()
{
    screen_.setPlaying(true);
}
void MediaControl::pause()
{
    screen_.setPlaying(false);
}

void MediaControl::stop()
{
    screen_.setPlaying(false);
    screen_.moveTo(screen_.range().start.count());
    tellState();
}

void MediaControl::setPositionInFrame(int64_t frame)
{
    screen_.moveTo(frame);
}

void MediaControl::setRate(double rate)
{
    screen_.setRate(rate);
}
void MediaControl::setLoop(bool loop)
{
    screen_.setLoop(loop);
}
void MediaControl::setGain(double gain)
{
    screen_.setGain(gain);
}
void MediaControl::openFile(const std::filesystem::path &file)
{
    open_(file);
}

void MediaControl::raise()
{
    window_.setWindowState(window_.windowState() & ~Qt::WindowMinimized);
    window_.show();
    window_.raise();
    window_.activateWindow();
}

void MediaControl::quit()
{
    window_.close();
}

int64_t MediaControl::positionInFrame() const
{
    return screen_.shownFrame();
}

} // namespace kxplayer
