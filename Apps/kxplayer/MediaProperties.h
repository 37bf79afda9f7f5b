/// @file
/// The player's state in the terms of the desktop's media-player interface.
#pragma once

#include "Apps/kxplayer/PlayerCommands.h"

#include <QDBusObjectPath>
#include <QVariantMap>

namespace kxplayer
{

/// Every property of org.mpris.MediaPlayer2.Player but Position, under its name.
QVariantMap mediaProperties(const PlayerState &state);
/// The track that is open, of a state with a file.
QDBusObjectPath trackOf(const PlayerState &state);

/// To the nearest; a frame is of 44,100 a second, from 0 to 2^40.
int64_t microsecondsOfFrame(int64_t frame);
int64_t frameOfMicroseconds(int64_t microseconds);

} // namespace kxplayer
