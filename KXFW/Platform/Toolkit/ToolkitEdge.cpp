#include "KXFW/Platform/Toolkit/ToolkitEdge.h"

#include "KXFW/Platform/Dispatch/MainQueue.h"
#include "KXFW/Platform/Foundation/NSAlert.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <QApplication>
#include <QMessageBox>
#include <QMetaObject>
#include <QPointer>

#include <memory>
#include <string>

namespace
{

/// At most one at a time: a fault that repeats with every event must not pile up boxes.
constinit bool alertIsOpen = false;

/// Goes with its alert: answered, failed, or thrown away with an application that ends.
struct OpenAlert {
    OpenAlert() { alertIsOpen = true; }
    ~OpenAlert() { alertIsOpen = false; }
    OpenAlert(const OpenAlert &) = delete;
    OpenAlert &operator=(const OpenAlert &) = delete;
};

void showLater(const char *where, const std::string &text)
{
    if (alertIsOpen)
        return;
    kx::MainQueue::async([message = std::string(where), text, open = std::make_shared<OpenAlert>()] {
        NSAlert alert;
        alert.setMessageText(message);
        alert.setInformativeText(text);
        alert.runModal();
    });
}

void tell(const char *where, const std::string &logText, const std::string &userText)
{
    NSLog("%@: %@", std::string(where), logText);
    showLater(where, userText);
}

void present(const NSAlert &alert)
{
    const QPointer box = new QMessageBox(QMessageBox::Warning, {}, QString::fromStdString(alert.messageText()),
                                         QMessageBox::Ok, QApplication::activeWindow());
    box->setTextFormat(Qt::PlainText);
    box->setInformativeText(QString::fromStdString(alert.informativeText()));
    box->exec();
    delete box; // already gone when its window went first
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
    } catch (const NSException &exception) {
        tell(where, exception.what(), reasonForUser(exception));
    } catch (...) {
        const std::string text = currentExceptionText();
        tell(where, text, text);
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
