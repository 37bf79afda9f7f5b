#include "KXFW/Platform/Toolkit/Sheet.h"

#include "KXFW/Platform/Dispatch/MainQueue.h"
#include "KXFW/Platform/Toolkit/NSWindow.h"
#include "KXFW/Platform/Toolkit/ToolkitEdge.h"

#include <QDialog>
#include <QEvent>
#include <QWindow>

#include <utility>

kx::Sheet::Sheet(QWidget &sheet, Completion completion)
    : QObject(&sheet), sheet_(sheet), completion_(std::move(completion))
{
}

kx::Sheet::~Sheet()
{
    if (open_ && completion_) // the widget goes, and whatever destroys it is not to be disturbed
        MainQueue::async([ended = std::move(completion_)] { ended(NSModalResponseCancel); });
}

kx::Sheet *kx::Sheet::of(const QWidget &sheet)
{
    for (QObject *child : sheet.children())
        if (auto *found = dynamic_cast<Sheet *>(child); found && found->open_)
            return found;
    return nullptr;
}

void kx::Sheet::showOver(QWidget &window)
{
    if (auto *dialog = qobject_cast<QDialog *>(&sheet_))
        dialog->setResult(QDialog::Rejected);
    sheet_.setWindowFlags((sheet_.windowFlags() & ~Qt::WindowType_Mask) | Qt::Dialog);
    sheet_.setWindowModality(Qt::WindowModal);
    window.winId(); // the system's windows, which may not be there yet
    sheet_.winId();
    sheet_.windowHandle()->setTransientParent(window.windowHandle());
    window.installEventFilter(this);
    sheet_.installEventFilter(this);
    connect(&window, &QObject::destroyed, this, &Sheet::endSoon); // one that is destroyed as it closes is never hidden
    sheet_.move(window.frameGeometry().center() - sheet_.rect().center());
    sheet_.show();
}

void kx::Sheet::end(int64_t returnCode)
{
    if (!std::exchange(open_, false))
        return;
    const Completion completion = std::exchange(completion_, {});
    sheet_.hide();
    deleteLater();
    if (completion)
        atToolkitEdge("The action failed.", [&] { completion(returnCode); });
}

bool kx::Sheet::eventFilter(QObject *object, QEvent *event)
{
    if (event->type() == QEvent::Hide && !event->spontaneous()) // spontaneous: minimised
        endSoon();
    return QObject::eventFilter(object, event);
}

void kx::Sheet::endSoon()
{
    // A dialog has its result only after it is hidden, and the completion must not meet a window that is going.
    const auto endWithOwnResult = [this] {
        const auto *dialog = qobject_cast<const QDialog *>(&sheet_);
        end(dialog ? dialog->result() : NSModalResponseCancel);
    };
    if (open_)
        QMetaObject::invokeMethod(this, endWithOwnResult, Qt::QueuedConnection);
}
