/// @file
/// The two interfaces of the media player as the bus sees them: names and types of theirs, everything else is the
/// service's.
#pragma once

#include "Apps/kxplayer/PlayerCommands.h"

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QStringList>
#include <QVariantMap>

namespace kxplayer
{

class MediaPlayerService;

class RootAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2")
    Q_PROPERTY(bool CanQuit READ yes CONSTANT)
    Q_PROPERTY(bool CanRaise READ yes CONSTANT)
    Q_PROPERTY(bool HasTrackList READ no CONSTANT)
    Q_PROPERTY(QString Identity READ identity CONSTANT)
    Q_PROPERTY(QString DesktopEntry READ desktopEntry CONSTANT)
    Q_PROPERTY(QStringList SupportedUriSchemes READ uriSchemes CONSTANT)
    Q_PROPERTY(QStringList SupportedMimeTypes READ mimeTypes CONSTANT)

public:
    explicit RootAdaptor(MediaPlayerService &service);

    [[nodiscard]] bool yes() const { return true; }
    [[nodiscard]] bool no() const { return false; }
    [[nodiscard]] QString identity() const;
    [[nodiscard]] QString desktopEntry() const;
    [[nodiscard]] QStringList uriSchemes() const { return {"file"}; }
    [[nodiscard]] QStringList mimeTypes() const;

public slots:
    void Raise();
    void Quit();

private:
    MediaPlayerService &service_;
};

class PlayerAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2.Player")
    Q_PROPERTY(QString PlaybackStatus READ playbackStatus)
    Q_PROPERTY(QString LoopStatus READ loopStatus WRITE setLoopStatus)
    Q_PROPERTY(double Rate READ rate WRITE setRate)
    Q_PROPERTY(double MinimumRate READ leastRate CONSTANT)
    Q_PROPERTY(double MaximumRate READ greatestRate CONSTANT)
    Q_PROPERTY(double Volume READ volume WRITE setVolume)
    Q_PROPERTY(QVariantMap Metadata READ metadata)
    Q_PROPERTY(qlonglong Position READ position)
    Q_PROPERTY(bool CanPlay READ isOpen)
    Q_PROPERTY(bool CanPause READ isOpen)
    Q_PROPERTY(bool CanSeek READ isOpen)
    Q_PROPERTY(bool CanGoNext READ no)
    Q_PROPERTY(bool CanGoPrevious READ no)
    Q_PROPERTY(bool CanControl READ yes)

public:
    explicit PlayerAdaptor(MediaPlayerService &service);

    [[nodiscard]] QString playbackStatus() const;
    [[nodiscard]] QString loopStatus() const;
    void setLoopStatus(const QString &status);
    [[nodiscard]] double rate() const;
    void setRate(double rate);
    [[nodiscard]] double volume() const;
    void setVolume(double volume);
    [[nodiscard]] QVariantMap metadata() const;
    [[nodiscard]] qlonglong position() const;
    [[nodiscard]] bool isOpen() const;
    [[nodiscard]] bool yes() const { return true; }
    [[nodiscard]] bool no() const { return false; }
    [[nodiscard]] double leastRate() const { return kLeastRate; }
    [[nodiscard]] double greatestRate() const { return kGreatestRate; }

public slots:
    void Play();
    void Pause();
    void PlayPause();
    void Stop();
    void Next() {}     ///< there is one track
    void Previous() {} ///< as above
    void Seek(qlonglong Offset);
    void SetPosition(const QDBusObjectPath &TrackId, qlonglong Position);
    void OpenUri(const QString &Uri, const QDBusMessage &message);

signals:
    void Seeked(qlonglong Position);

private:
    MediaPlayerService &service_;
};

} // namespace kxplayer
