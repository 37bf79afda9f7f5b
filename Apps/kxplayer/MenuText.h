#pragma once

#include <QString>

namespace kxplayer
{

/// A text from outside on one line, its middle left out where it is longer than 60 characters.
QString shortText(const QString &text);
/// The same for a menu: ampersands as they stand.
QString menuText(const QString &text);

} // namespace kxplayer
