#include "Apps/kxplayer/MediaProperties.h"

#include "Apps/kxplayer/FilePaths.h"

namespace kxplayer
{

namespace
{

QString textOf(Playback playback)
{
    switch (playback) {
    case Playback::Playing:
        return "Playing";
    case Playback::Paused:
        return "Paused";
    case Playback::Stopped:
        break;
    }
    return "Stopped";
}

QVariantMap metadataOf(const PlayerState &state)
{
    if (state.file.empty())
        return {};
    return {{"mpris:trackid", QVariant::fromValue(trackOf(state))},
            {"mpris:length", QVariant::fromValue<qlonglong>(microsecondsOfFrame(state.numFrames))},
            {"xesam:title", nameOfPath(state.file)},
            {"xesam:url", QString::fromLatin1(uriOfPath(state.file))}};
}

} // namespace

QVariantMap mediaProperties(const PlayerState &state)
{
    const bool isOpen = !state.file.empty();
    return {{"PlaybackStatus", textOf(state.playback)},
            {"LoopStatus", state.loops ? "Track" : "None"},
            {"Rate", state.rate},
            {"MinimumRate", kLeastRate},
            {"MaximumRate", kGreatestRate},
            {"Volume", state.gain},
            {"Metadata", metadataOf(state)},
            {"CanPlay", isOpen},
            {"CanPause", isOpen},
            {"CanSeek", isOpen},
            {"CanGoNext", false},
            {"CanGoPrevious", false},
            {"CanControl", true}};
}

QDBusObjectPath trackOf(const PlayerState &state)
{
    return QDBusObjectPath("/kxplayer/track/" + QString::number(state.fileNumber));
}

int64_t microsecondsOfFrame(int64_t frame)
{
    return (frame * 10000 + 220) / 441;
}

int64_t frameOfMicroseconds(int64_t microseconds)
{
    return (microseconds * 441 + 5000) / 10000;
}

} // namespace kxplayer
