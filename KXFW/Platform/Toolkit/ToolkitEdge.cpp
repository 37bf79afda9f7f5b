#include "KXFW/Platform/Toolkit/ToolkitEdge.h"

#include "KXFW/Platform/Dispatch/MainQueue.h"
#include "KXFW/Platform/Foundation/NSAlert.h"
#include "KXFW/Platform/Foundation/NSException.h"
#include "KXFW/Platform/Foundation/NSLog.h"
#include "KXFW/Platform/Foundation/StringTable.h"

#include <QApplication>
#include <QEventLoop>
#include <QMessageBox>
#include <QPointer>

#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace
{

constexpr qsizetype kMostCharacters = 2000; // of what a box tells beside its message

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
        alert.setMessageText(kx::StringTable::framework().localizedStringForKey(message));
        alert.setInformativeText(text);
        alert.runModal();
    });
}

void tell(const char *where, const std::string &logText, const std::string &userText)
{
    NSLog("%@: %@", std::string(where), logText);
    showLater(where, userText);
}

/// Adds what an alert says to the one that is open, once.
void join(QMessageBox &box, const NSAlert &alert)
{
    const QString message = QString::fromStdString(alert.messageText());
    const QString before = box.informativeText();
    QString text = QString::fromStdString(alert.informativeText());
    if (message != box.text())
        text = message + "\n" + text;
    if (!before.split("\n\n").contains(text) && before.size() + text.size() < kMostCharacters)
        box.setInformativeText(before + "\n\n" + text);
}

/// One box at a time: an alert that comes meanwhile joins it and is answered with it.
void present(const NSAlert &alert)
{
    static constinit QPointer<QMessageBox> open;
    if (open) {
        join(*open, alert);
        QEventLoop until;
        QObject::connect(open, &QDialog::finished, &until, &QEventLoop::quit);
        QObject::connect(open, &QObject::destroyed, &until, &QEventLoop::quit);
        until.exec();
        return;
    }
    const QPointer box = open = new QMessageBox(QMessageBox::Warning, {}, QString::fromStdString(alert.messageText()),
                                                QMessageBox::Ok, QApplication::activeWindow());
    box->setTextFormat(Qt::PlainText);
    box->setInformativeText(QString::fromStdString(alert.informativeText()));
    box->exec();
    delete box; // already gone when its window went first
}

/// Runs the main queue's tasks one by one in the event loop of the thread that made it. They are handed over under a
/// lock of ours: the toolkit's own is none that ThreadSanitizer knows.
class TaskRunner : public QObject
{
public:
    void add(std::function<void()> task)
    {
        {
            const std::lock_guard guard(lock_);
            tasks_.push_back(std::move(task));
        }
        QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    }

protected:
    bool event(QEvent *) override
    {
        std::function<void()> task;
        {
            const std::lock_guard guard(lock_);
            if (tasks_.empty())
                return true;
            task = std::move(tasks_.front());
            tasks_.pop_front();
        }
        task();
        return true;
    }

private:
    std::mutex lock_;
    std::deque<std::function<void()>> tasks_;
};

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
        [runner = std::make_shared<TaskRunner>()](std::function<void()> task) { runner->add(std::move(task)); });
    qAddPostRoutine([] {
        uninstall();
        installedFor = nullptr;
    });
}
