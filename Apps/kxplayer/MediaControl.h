#pragma once

#include "Apps/kxplayer/MediaPlayerService.h"
#include "Apps/kxplayer/PlayerCommands.h"
#include "Apps/kxplayer/PlayerScreen.h"

#include <QWidget>

#include <functional>

namespace kxplayer
{

/// Joins the desktop's media controls to the screen and its window. For the main thread.
class MediaControl : public PlayerCommands
{
public:
    using OpenFile = std::function<void(const std::filesystem::path &)>;

    /// All must outlive it.
    MediaControl(PlayerScreen &screen, QWidget &window, OpenFile open,
                 const QDBusConnection &bus = QDBusConnection::sessionBus());

    void tellState();             ///< Something of the state may have changed.
    void tellJump(int64_t frame); ///< The position has jumped, asked for by whomever.

    void play() override;
    void pause() override;
    void stop() override;
    void setPositionInFrame(int64_t frame) override;
    void setRate(double rate) override;
    void setLoop(bool loop) override;
    void setGain(double gain) override;
    void openFile(const std::filesystem::path &file) override;
    void raise() override;
    void quit() override;
    [[nodiscard]] int64_t positionInFrame() const override;

private:
    PlayerScreen &screen_;
    QWidget &window_;
    OpenFile open_;
    MediaPlayerService service_;
};

} // namespace kxplayer
