#include "KXFW/Platform/Toolkit/NSTextField.h"

#include <QLabel>
#include <QLineEdit>

NSTextField::NSTextField(QWidget *widget)
    : NSControl(qobject_cast<QLineEdit *>(widget) || qobject_cast<QLabel *>(widget) ? widget : nullptr)
{
}
