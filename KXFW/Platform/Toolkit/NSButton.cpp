#include "KXFW/Platform/Toolkit/NSButton.h"

#include <QAbstractButton>

namespace
{

constexpr QChar kMnemonic = u'&';

/// "Play & Stop" of "&Play && Stop".
QString withoutMnemonic(const QString &text)
{
    QString plain;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == kMnemonic && i + 1 < text.size())
            ++i;
        plain += text[i];
    }
    return plain;
}

} // namespace

NSButton::NSButton(QWidget *widget) : NSControl(qobject_cast<QAbstractButton *>(widget)) {}

std::string NSButton::title() const
{
    const auto *button = qobject_cast<QAbstractButton *>(widget());
    return button ? withoutMnemonic(button->text()).toStdString() : "";
}

void NSButton::setTitle(const std::string &title) const
{
    if (auto *button = qobject_cast<QAbstractButton *>(widget()))
        button->setText(QString::fromStdString(title).replace(kMnemonic, QStringLiteral("&&")));
}

int64_t NSButton::state() const
{
    return integerValue();
}

void NSButton::setState(int64_t state) const
{
    setIntegerValue(state);
}
