#include "KXFW/Platform/Toolkit/InterfaceBuilder.h"

#include "KXFW/Platform/Foundation/NSLog.h"
#include "KXFW/Platform/Toolkit/ToolkitMessages.h"
#include "KXFW/Platform/Toolkit/ViewClasses.h"
#include "KXFW/Platform/Toolkit/ViewWidget.h"

#include <QBuffer>
#include <QSet>
#include <QUiLoader>

namespace
{

/// Makes views where the file names their classes, and remembers what it made.
class Builder : public QUiLoader
{
public:
    Builder() { clearPluginPaths(); } // an interface file loads no code

    QWidget *createWidget(const QString &className, QWidget *parent, const QString &name) override
    {
        QWidget *widget = nullptr;
        if (auto view = kx::ViewClasses::make(className.toStdString()))
            widget = new kx::ViewWidget(std::move(view), parent);
        else
            widget = QUiLoader::createWidget(className, parent, name);
        if (widget)
            widgets_.push_back(widget);
        return widget;
    }

    [[nodiscard]] std::vector<QWidget *> takeWidgets() { return std::move(widgets_); }

private:
    std::vector<QWidget *> widgets_;
};

std::string reasonOf(const QUiLoader &builder, const std::vector<std::string> &messages)
{
    std::string reason = builder.errorString().toStdString();
    for (const std::string &message : messages)
        if (builder.errorString().isEmpty())
            reason += (reason.empty() ? "" : "; ") + message;
    return reason;
}

} // namespace

bool kx::isWidgetClass(const QString &name)
{
    static const QSet<QString> toolkits = [] {
        const QStringList names = Builder().availableWidgets();
        return QSet<QString>(names.begin(), names.end());
    }();
    return toolkits.contains(name) || ViewClasses::contains(name.toStdString());
}

bool kx::isLayoutClass(const QString &name)
{
    static const QStringList names = Builder().availableLayouts();
    return names.contains(name);
}

kx::Interface kx::makeInterface(const InterfaceFile &file)
{
    checkInterfaceFile(file);
    Interface made{file.path, nullptr, {}};
    QBuffer buffer;
    buffer.setData(localizedInterfaceFile(file).contents);
    buffer.open(QIODevice::ReadOnly);
    Builder builder;
    ToolkitMessages messages;
    made.root.reset(builder.load(&buffer));
    made.widgets = builder.takeWidgets();
    if (!made.root)
        throw nibLoadingException(file.path, reasonOf(builder, messages.take()));
    for (const std::string &message : messages.take())
        NSLog("%@: %@", file.path, message);
    return made;
}
