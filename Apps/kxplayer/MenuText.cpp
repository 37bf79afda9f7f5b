#include "Apps/kxplayer/MenuText.h"

#include <QList>

namespace kxplayer
{

namespace
{

constexpr qsizetype kMostCharacters = 60;

/// What would not be seen, or would turn the direction of what stands behind it.
bool isTricky(uint character)
{
    const bool turnsDirection =
        (character >= 0x202A && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
    return turnsDirection || QChar::category(character) == QChar::Other_Control;
}

} // namespace

QString shortText(const QString &text)
{
    QList<uint> characters = text.simplified().toUcs4();
    if (characters.size() > kMostCharacters) {
        constexpr qsizetype kept = kMostCharacters / 2;
        characters.remove(kept, characters.size() - kMostCharacters);
        characters[kept] = u'…';
    }
    QString line;
    for (const uint character : characters)
        line += QChar::fromUcs4(isTricky(character) ? char32_t{QChar::ReplacementCharacter} : char32_t{character});
    return line;
}

QString menuText(const QString &text)
{
    return shortText(text).replace(QLatin1Char('&'), QLatin1String("&&"));
}

} // namespace kxplayer
