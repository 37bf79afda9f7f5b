#include "KXFW/Platform/Toolkit/NSWindow.h"

#include "KXFW/Platform/Dispatch/MainQueue.h"
#include "KXFW/Platform/Toolkit/Sheet.h"
#include "KXFW/Platform/Toolkit/ToolkitEdge.h"

#include <QWidget>

#include <utility>

NSWindow::NSWindow(QWidget *widget) : WidgetHandle(widget && widget->isWindow() ? widget : nullptr) {}

void NSWindow::beginSheet(const NSWindow &sheet, SheetCompletion completion) const
{
    kx::installToolkit();
    if (sheet && widget() && widget()->isVisible() && !kx::Sheet::of(*sheet.widget()))
        (new kx::Sheet(*sheet.widget(), std::move(completion)))->showOver(*widget());
    else if (completion)
        kx::MainQueue::async([ended = std::move(completion)] { ended(NSModalResponseCancel); });
}

void NSWindow::endSheet(const NSWindow &sheet, int64_t returnCode) const
{
    kx::Sheet *open = sheet ? kx::Sheet::of(*sheet.widget()) : nullptr;
    if (open)
        open->end(returnCode);
}
