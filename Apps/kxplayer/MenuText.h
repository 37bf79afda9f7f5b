#pragma once

#include <QString>

namespace kxplayer
{

/// A text from outside as a menu shows it: on one line, not endlessly long, its ampersands as they stand.
QString menuText(const QString &text);

} // namespace kxplayer
