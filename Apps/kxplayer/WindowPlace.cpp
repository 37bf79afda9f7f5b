#include "Apps/kxplayer/WindowPlace.h"

#include <QSettings>
#include <QWidget>

namespace kxplayer
{

namespace
{

constexpr auto kKey = "windowPlace";

} // namespace

void saveWindowPlace(const QWidget &window, QSettings &settings)
{
    settings.setValue(kKey, window.saveGeometry());
}

bool restoreWindowPlace(QWidget &window, const QSettings &settings)
{
    return window.restoreGeometry(settings.value(kKey).toByteArray());
}

} // namespace kxplayer
