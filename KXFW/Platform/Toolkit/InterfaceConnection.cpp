#include "KXFW/Platform/Toolkit/InterfaceConnection.h"

#include "KXFW/Platform/Dispatch/MainQueue.h"
#include "KXFW/Platform/Foundation/Demangling.h"
#include "KXFW/Platform/Toolkit/ControlActions.h"
#include "KXFW/Platform/Toolkit/InterfaceBuilder.h"
#include "KXFW/Platform/Toolkit/NibConnectionsImpl.h"
#include "KXFW/Platform/Toolkit/ToolkitEdge.h"
#include "KXFW/Platform/Toolkit/ViewWidget.h"

#include <QVariant>

#include <map>
#include <utility>
#include <vector>

namespace
{

using kx::Interface;
using kx::NibConnections;

std::string textProperty(const QWidget &widget, const char *name)
{
    return widget.property(name).toString().toStdString();
}

std::string quoted(const QWidget &widget)
{
    return "'" + widget.objectName().toStdString() + "'";
}

std::string classOf(const NSObject &object)
{
    return kx::demangled(typeid(object).name());
}

std::string classOf(QWidget *widget)
{
    if (const auto view = kx::viewOf(widget))
        return classOf(*view);
    return widget->metaObject()->className();
}

std::vector<Interface> makeInterfaces(const std::string &name, const kx::InterfaceSource &source)
{
    std::vector<Interface> made;
    made.push_back(kx::makeInterface(source(name)));
    for (const QString &other : made.front().root->property("topLevelObjects").toStringList())
        made.push_back(kx::makeInterface(source(other.toStdString())));
    return made;
}

/// Runs an action of an owner that is still there.
void run(const NibConnections::Action &action, const std::weak_ptr<NSObject> &weakOwner, const NSControl &sender)
{
    std::shared_ptr<NSObject> owner = weakOwner.lock();
    if (!owner)
        return;
    kx::atToolkitEdge("The action failed.", [&] { action(sender); });
    if (owner.use_count() == 1) // the toolkit is not done with the sender, which goes with the owner
        kx::MainQueue::async([kept = std::move(owner)] {});
}

} // namespace

class kx::InterfaceConnector
{
public:
    InterfaceConnector(const std::vector<Interface> &files, std::shared_ptr<NSObject> owner,
                       const NibConnections &connections)
        : files_(files), owner_(std::move(owner)), connections_(*connections.impl_)
    {
    }

    void connect()
    {
        collectNames();
        for (const Outlet &outlet : connections_.outlets)
            connectOutlet(outlet);
        for (const Interface &file : files_)
            for (QWidget *widget : file.widgets) {
                connectAction(file, widget);
                connectDelegate(file, widget);
            }
        if (!faults_.empty())
            throw NSException(kx::nibLoadingExceptionName, faults_);
    }

private:
    using Outlet = NibConnections::Impl::Outlet;

    void collectNames()
    {
        for (const Interface &file : files_)
            for (QWidget *widget : file.widgets)
                if (!named_.emplace(widget->objectName().toStdString(), widget).second)
                    addFault(file, "the name " + quoted(*widget) + " is given twice");
    }

    void connectOutlet(const Outlet &outlet)
    {
        const auto found = named_.find(outlet.name);
        if (found == named_.end())
            addFault(files_.front(), "no object for the outlet '" + outlet.name + "'");
        else if (!outlet.take(found->second))
            addFault(files_.front(), "the outlet '" + outlet.name + "' takes an object of class " +
                                         kx::demangled(outlet.wanted->name()) + ", not a " + classOf(found->second));
    }

    void connectAction(const Interface &file, QWidget *widget)
    {
        const std::string name = textProperty(*widget, "action");
        if (name.empty())
            return;
        const auto action = connections_.actions.find(name);
        if (action == connections_.actions.end())
            addFault(file, quoted(*widget) + " has the unknown action '" + name + "'");
        else if (!kx::connectAction(widget, [action = action->second, owner = std::weak_ptr(owner_),
                                             sender = NSControl(widget)] { run(action, owner, sender); }))
            addFault(file, quoted(*widget) + " has an action, but a " + classOf(widget) + " sends none");
    }

    void connectDelegate(const Interface &file, QWidget *widget)
    {
        const std::string name = textProperty(*widget, "delegate");
        if (name.empty())
            return;
        const auto view = kx::viewOf(widget);
        if (name != "owner")
            addFault(file, quoted(*widget) + " has the unknown delegate '" + name + "'; it can only be 'owner'");
        else if (!view || !view->setOutlet("delegate", owner_))
            addFault(file,
                     quoted(*widget) + ", a " + classOf(widget) + ", takes no delegate of class " + classOf(*owner_));
    }

    void addFault(const Interface &file, const std::string &reason)
    {
        faults_ += (faults_.empty() ? "" : "; ") + file.path + ": " + reason;
    }

    const std::vector<Interface> &files_;
    std::shared_ptr<NSObject> owner_;
    const NibConnections::Impl &connections_;
    std::map<std::string, QWidget *> named_;
    std::string faults_;
};

namespace
{

/// The widgets of a file, in its order, but each after those inside it.
std::vector<QWidget *> innerFirst(const std::vector<QWidget *> &widgets)
{
    std::vector<QWidget *> result;
    std::vector<QWidget *> open;
    const auto closeUntil = [&](const QWidget *inner) {
        for (; !open.empty() && !(inner && open.back()->isAncestorOf(inner)); open.pop_back())
            result.push_back(open.back());
    };
    for (QWidget *widget : widgets) {
        closeUntil(widget);
        open.push_back(widget);
    }
    closeUntil(nullptr);
    return result;
}

void awake(const Interface &file)
{
    for (QWidget *widget : innerFirst(file.widgets))
        if (auto *host = dynamic_cast<kx::ViewWidget *>(widget)) {
            if (host->property("wantsLayer").toBool())
                host->backWithLayer();
            host->awake();
        }
}

} // namespace

std::unique_ptr<kx::TopLevelObjects> kx::loadScreen(const std::string &name, const InterfaceSource &source,
                                                    const std::shared_ptr<NSObject> &owner,
                                                    const NibConnections &connections)
{
    installToolkit();
    std::vector<Interface> files = makeInterfaces(name, source);
    InterfaceConnector(files, owner, connections).connect();
    for (const Interface &file : files)
        awake(file);
    std::vector<std::unique_ptr<QWidget>> roots;
    roots.reserve(files.size());
    for (Interface &file : files)
        roots.push_back(std::move(file.root));
    return std::make_unique<TopLevelObjects>(std::move(roots));
}
