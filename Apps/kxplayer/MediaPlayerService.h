#pragma once

#include "Apps/kxplayer/PlayerCommands.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QObject>
#include <QVariantMap>

#include <functional>

namespace kxplayer
{

/// The player on the session bus, under org.mpris.MediaPlayer2.kxplayer or, where that name is taken, the same with
/// ".instance" and the process's number. Without a bus it is silently absent. What callers ask is checked and limited
/// here. For the main thread.
class MediaPlayerService : public QObject
{
    Q_OBJECT

public:
    /// `commands` must outlive it.
    explicit MediaPlayerService(PlayerCommands &commands, const QDBusConnection &bus = QDBusConnection::sessionBus());
    ~MediaPlayerService() override;

    /// The name on the bus; empty without one.
    [[nodiscard]] const QString &name() const noexcept { return name_; }
    /// Tells what has changed; to be called after every change.
    void setState(const PlayerState &state);
    /// Tells that the position has jumped; to be called after every jump, those that the bus has asked for, too.
    void announceJump(int64_t frame);

    // What the bus asks

    [[nodiscard]] QVariant value(const QString &property) const { return properties_.value(property); }
    [[nodiscard]] bool isOpen() const { return !state_.file.empty(); }
    [[nodiscard]] qlonglong positionInMicroseconds() const;
    void play();
    void pause();
    void playPause();
    void stop();
    void moveBy(qlonglong microseconds);
    void moveTo(const QDBusObjectPath &track, qlonglong microseconds);
    /// Opens the file later, or answers the call with an error that says why not.
    void open(const QString &uri, const QDBusMessage &call);
    void setRate(double rate);
    void setLoopStatus(const QString &status);
    void setVolume(double volume);
    void raise();
    void quit();

signals:
    void jumped(qlonglong microseconds);

private:
    void jumpTo(int64_t frame);
    /// Runs a command now; what it throws is logged.
    static void run(const std::function<void()> &command);
    /// Runs a command once the caller has its answer: a command may show a message and wait for the user.
    void runLater(std::function<void()> command);

    PlayerCommands &commands_;
    QDBusConnection bus_;
    QString name_;
    PlayerState state_;
    QVariantMap properties_; ///< of state_
};

} // namespace kxplayer
