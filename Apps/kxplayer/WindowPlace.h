/// @file
/// Where a window was when it was last closed.
#pragma once

class QSettings;
class QWidget;

namespace kxplayer
{

void saveWindowPlace(const QWidget &window, QSettings &settings);
/// Puts the window there, moved onto a screen where that is needed; false, and the window as it was, without a place.
bool restoreWindowPlace(QWidget &window, const QSettings &settings);

} // namespace kxplayer
