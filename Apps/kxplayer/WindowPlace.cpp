#include "Apps/kxplayer/WindowPlace.h"

#include <QSettings>
#include <QWidget>

namespace kxplayer
{

namespace
{

constexpr auto kWindowKey = "windowPlace";

} // namespace

void saveWindowPlace(const QWidget &window, QSettings &settings)
{
    settings.setValue(kWindowKey, window.saveGeometry());
}

bool restoreWindowPlace(QWidget &window, const QSettings &settings)
{
    return window.restoreGeometry(settings.value(kWindowKey).toByteArray());
}

} // namespace kxplayer
