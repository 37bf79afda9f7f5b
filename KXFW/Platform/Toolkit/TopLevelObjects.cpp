#include "KXFW/Platform/Toolkit/TopLevelObjects.h"

#include "KXFW/Platform/Dispatch/MainQueue.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThread>
#include <QWidget>

#include <utility>

struct kx::TopLevelObjects::Roots {
    std::vector<QPointer<QWidget>> widgets;

    ~Roots()
    {
        if (!qApp)
            return; // widgets cannot go without the application
        for (const QPointer<QWidget> &widget : widgets)
            if (widget && !widget->parent())
                delete widget.data();
    }
};

kx::TopLevelObjects::TopLevelObjects(std::vector<std::unique_ptr<QWidget>> roots) : roots_(std::make_unique<Roots>())
{
    for (std::unique_ptr<QWidget> &root : roots)
        roots_->widgets.emplace_back(root.release());
}

kx::TopLevelObjects::~TopLevelObjects()
{
    if (qApp && QThread::currentThread() != qApp->thread())
        MainQueue::async([roots = std::shared_ptr<Roots>(std::move(roots_))] {}); // they go with the task
}

QWidget *kx::TopLevelObjects::view() const noexcept
{
    return roots_->widgets.front();
}
