#include "KXFW/Platform/Toolkit/ToolkitEdge.h"

#include "KXFW/Platform/Dispatch/MainQueue.h"
#include "KXFW/Platform/Foundation/NSAlert.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <QApplication>
#include <QMessageBox>
#include <QMetaObject>

#include <string>
#include <utility>

namespace
{

/// At most one at a time: a fault that repeats with every event must not pile up boxes.
constinit bool alertIsOpen = false;

void showLater(const char *where, const std::string &text)
{
    if (std::exchange(alertIsOpen, true))
        return;
    kx::MainQueue::async([message = std::string(where), text] {
        NSAlert alert;
        alert.setMessageText(message);
        alert.setInformativeText(text);
        alert.runModal();
        alertIsOpen = false;
    });
}

void present(const NSAlert &alert)
{
    QMessageBox box(QMessageBox::Warning, {}, QString::fromStdString(alert.messageText()), QMessageBox::Ok,
                    QApplication::activeWindow());
    box.setTextFormat(Qt::PlainText);
    box.setInformativeText(QString::fromStdString(alert.informativeText()));
    box.exec();
}

void uninstall()
{
    kx::MainQueue::install({});
    NSAlert::setPresenter({});
}

} // namespace

void kx::atToolkitEdge(const char *where, const std::function<void()> &task)
{
    try {
        task();
    } catch (...) {
        const std::string text = currentExceptionText();
        NSLog("%@: %@", std::string(where), text);
        showLater(where, text);
    }
}

void kx::installToolkit()
{
    static const QCoreApplication *installedFor = nullptr;
    if (!qApp || installedFor == qApp)
        return;
    installedFor = qApp;
    NSAlert::setPresenter(present);
    MainQueue::install(
        [](std::function<void()> task) { QMetaObject::invokeMethod(qApp, std::move(task), Qt::QueuedConnection); });
    qAddPostRoutine([] {
        uninstall();
        installedFor = nullptr;
    });
}
