#include "Apps/kxplayer/MediaPlayerService.h"

#include "Apps/kxplayer/FilePaths.h"
#include "Apps/kxplayer/MediaPlayerAdaptors.h"
#include "Apps/kxplayer/MediaProperties.h"
#include "KXFW/KXFWUI.h"

#include <QCoreApplication>
#include <QDBusError>

#include <algorithm>
#include <cmath>
#include <utility>

namespace kxplayer
{

namespace
{

constexpr auto kObjectPath = "/org/mpris/MediaPlayer2";
constexpr auto kPlayerInterface = "org.mpris.MediaPlayer2.Player";
constexpr auto kServiceName = "org.mpris.MediaPlayer2.kxplayer";

/// Takes the first name that is free; empty where none is.
QString takeName(QDBusConnection &bus)
{
    const QString names[] = {kServiceName,
                             kServiceName + QStringLiteral(".instance%1").arg(QCoreApplication::applicationPid())};
    const auto *const name =
        std::ranges::find_if(names, [&](const QString &text) { return bus.registerService(text); });
    return name != std::end(names) ? *name : QString();
}

} // namespace

MediaPlayerService::MediaPlayerService(PlayerCommands &commands, const QDBusConnection &bus)
    : commands_(commands), bus_(bus), properties_(mediaProperties(state_))
{
    new RootAdaptor(*this); // both are this object's children
    new PlayerAdaptor(*this);
    if (!bus_.isConnected() || !bus_.registerObject(kObjectPath, this, QDBusConnection::ExportAdaptors))
        return;
    name_ = takeName(bus_);
    if (name_.isEmpty())
        bus_.unregisterObject(kObjectPath);
}

MediaPlayerService::~MediaPlayerService()
{
    if (name_.isEmpty())
        return;
    bus_.unregisterService(name_);
    bus_.unregisterObject(kObjectPath);
}

void MediaPlayerService::setState(const PlayerState &state)
{
    if (state == state_)
        return;
    state_ = state;
    const QVariantMap before = std::exchange(properties_, mediaProperties(state_));
    QVariantMap changed;
    for (auto property = properties_.cbegin(); property != properties_.cend(); ++property)
        if (before.value(property.key()) != property.value())
            changed.insert(property.key(), property.value());
    if (name_.isEmpty() || changed.isEmpty())
        return;
    QDBusMessage signal =
        QDBusMessage::createSignal(kObjectPath, "org.freedesktop.DBus.Properties", "PropertiesChanged");
    signal << kPlayerInterface << changed << QStringList();
    bus_.send(signal);
}

void MediaPlayerService::announceJump(int64_t frame)
{
    emit jumped(microsecondsOfFrame(frame));
}

qlonglong MediaPlayerService::positionInMicroseconds() const
{
    int64_t frame = 0;
    if (isOpen())
        run([&] { frame = std::clamp<int64_t>(commands_.positionInFrame(), 0, state_.numFrames); });
    return microsecondsOfFrame(frame);
}

void MediaPlayerService::play()
{
    if (isOpen())
        run([this] { commands_.play(); });
}

void MediaPlayerService::pause()
{
    if (isOpen())
        run([this] { commands_.pause(); });
}

void MediaPlayerService::playPause()
{
    state_.playback == Playback::Playing ? pause() : play();
}

void MediaPlayerService::stop()
{
    if (isOpen())
        run([this] { commands_.stop(); });
}

/// Beyond the end there is no next track: it goes to the end.
void MediaPlayerService::moveBy(qlonglong microseconds)
{
    const int64_t length = microsecondsOfFrame(state_.numFrames);
    const int64_t position = positionInMicroseconds();
    const int64_t move = std::clamp<int64_t>(microseconds, -length, length);
    if (isOpen())
        jumpTo(frameOfMicroseconds(std::clamp<int64_t>(position + move, 0, length)));
}

/// A position outside the track, or for a track that is no longer open, is ignored.
void MediaPlayerService::moveTo(const QDBusObjectPath &track, qlonglong microseconds)
{
    const bool isInside = microseconds >= 0 && microseconds <= microsecondsOfFrame(state_.numFrames);
    if (isOpen() && isInside && track == trackOf(state_))
        jumpTo(frameOfMicroseconds(microseconds));
}

void MediaPlayerService::jumpTo(int64_t frame)
{
    const int64_t inside = std::min(frame, state_.numFrames);
    run([&] { commands_.setPositionInFrame(inside); });
}

void MediaPlayerService::open(const QString &uri, const QDBusMessage &call)
{
    const auto path = pathOfUri(uri.toUtf8());
    if (const auto *const refusal = std::get_if<Refusal>(&path)) {
        call.setDelayedReply(true);
        bus_.send(call.createErrorReply(QDBusError::InvalidArgs, refusal->text));
    } else {
        runLater([this, file = std::get<std::filesystem::path>(path)] { commands_.openFile(file); });
    }
}

/// 0 stands for a pause; what is no speed is ignored.
void MediaPlayerService::setRate(double rate)
{
    if (rate == 0)
        pause();
    else if (std::isfinite(rate) && rate > 0)
        run([&] { commands_.setRate(std::clamp(rate, kLeastRate, kGreatestRate)); });
}

void MediaPlayerService::setLoopStatus(const QString &status)
{
    if (status == "None" || status == "Track")
        run([&] { commands_.setLoop(status == "Track"); });
}

void MediaPlayerService::setVolume(double volume)
{
    if (!std::isnan(volume))
        run([&] { commands_.setGain(std::clamp(volume, 0.0, 1.0)); });
}

void MediaPlayerService::raise()
{
    runLater([this] { commands_.raise(); });
}

void MediaPlayerService::quit()
{
    runLater([this] { commands_.quit(); });
}

void MediaPlayerService::run(const std::function<void()> &command)
{
    try {
        command();
    } catch (const std::exception &exception) {
        NSLog("media controls: %@", exception.what());
    }
}

void MediaPlayerService::runLater(std::function<void()> command)
{
    QMetaObject::invokeMethod(
        this, [command = std::move(command)] { run(command); }, Qt::QueuedConnection);
}

} // namespace kxplayer
