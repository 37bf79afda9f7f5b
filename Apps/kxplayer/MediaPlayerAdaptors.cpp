#include "Apps/kxplayer/MediaPlayerAdaptors.h"

#include "Apps/kxplayer/MediaPlayerService.h"
#include "kx/File.h"

namespace kxplayer
{

RootAdaptor::RootAdaptor(MediaPlayerService &service) : QDBusAbstractAdaptor(&service), service_(service) {}

QString RootAdaptor::identity() const
{
    return tr("KX Player");
}

QString RootAdaptor::desktopEntry() const
{
    return "io.github.kxfw.kxplayer";
}

QStringList RootAdaptor::mimeTypes() const
{
    QStringList types;
    for (const kx::Format &format : kx::formats())
        for (const std::string &type : format.mimeTypes)
            types << QString::fromStdString(type);
    return types;
}

void RootAdaptor::Raise()
{
    service_.raise();
}

void RootAdaptor::Quit()
{
    service_.quit();
}

PlayerAdaptor::PlayerAdaptor(MediaPlayerService &service) : QDBusAbstractAdaptor(&service), service_(service)
{
    connect(&service, &MediaPlayerService::jumped, this, &PlayerAdaptor::Seeked);
}

QString PlayerAdaptor::playbackStatus() const
{
    return service_.value("PlaybackStatus").toString();
}

QString PlayerAdaptor::loopStatus() const
{
    return service_.value("LoopStatus").toString();
}

void PlayerAdaptor::setLoopStatus(const QString &status)
{
    service_.setLoopStatus(status);
}

double PlayerAdaptor::rate() const
{
    return service_.value("Rate").toDouble();
}

void PlayerAdaptor::setRate(double rate)
{
    service_.setRate(rate);
}

double PlayerAdaptor::volume() const
{
    return service_.value("Volume").toDouble();
}

void PlayerAdaptor::setVolume(double volume)
{
    service_.setVolume(volume);
}

QVariantMap PlayerAdaptor::metadata() const
{
    return service_.value("Metadata").toMap();
}

qlonglong PlayerAdaptor::position() const
{
    return service_.positionInMicroseconds();
}

bool PlayerAdaptor::isOpen() const
{
    return service_.isOpen();
}

void PlayerAdaptor::Play()
{
    service_.play();
}

void PlayerAdaptor::Pause()
{
    service_.pause();
}

void PlayerAdaptor::PlayPause()
{
    service_.playPause();
}

void PlayerAdaptor::Stop()
{
    service_.stop();
}

void PlayerAdaptor::Seek(qlonglong Offset)
{
    service_.moveBy(Offset);
}

void PlayerAdaptor::SetPosition(const QDBusObjectPath &TrackId, qlonglong Position)
{
    service_.moveTo(TrackId, Position);
}

void PlayerAdaptor::OpenUri(const QString &Uri, const QDBusMessage &message)
{
    service_.open(Uri, message);
}

} // namespace kxplayer
