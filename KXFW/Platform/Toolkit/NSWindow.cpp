#include "KXFW/Platform/Toolkit/NSWindow.h"

#include <QWidget>

NSWindow::NSWindow(QWidget *widget) : WidgetHandle(widget && widget->isWindow() ? widget : nullptr) {}
