#include "Apps/kxplayer/MenuText.h"

namespace kxplayer
{

namespace
{

constexpr qsizetype kMostCharacters = 60;

} // namespace

QString menuText(const QString &text)
{
    QString line = text.simplified();
    if (line.size() > kMostCharacters)
        line = line.left(kMostCharacters / 2) + QStringLiteral("…") + line.right(kMostCharacters / 2 - 1);
    return line.replace(QLatin1Char('&'), QLatin1String("&&"));
}

} // namespace kxplayer
