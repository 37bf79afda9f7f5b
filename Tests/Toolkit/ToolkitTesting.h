#pragma once

#include "KXFW/Platform/Foundation/NSAlert.h"
#include "KXFW/Platform/Toolkit/ToolkitEdge.h"

#include <QImage>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

#include <stdexcept>
#include <string>
#include <vector>

namespace kx::test
{

/// Keeps alerts in place of showing them, while it lives.
class AlertRecorder
{
public:
    AlertRecorder()
    {
        installToolkit();
        NSAlert::setPresenter([this](const NSAlert &alert) {
            shown.push_back(alert.messageText() + ": " + alert.informativeText());
            if (fails)
                throw std::runtime_error("no display");
        });
    }
    ~AlertRecorder() { NSAlert::setPresenter({}); }
    AlertRecorder(const AlertRecorder &) = delete;
    AlertRecorder &operator=(const AlertRecorder &) = delete;

    std::vector<std::string> shown;
    bool fails = false; ///< whether showing one throws
};

/// What the widget shows at a scale of the screen.
inline QImage picture(QWidget &widget, double scale)
{
    QImage image((QSizeF(widget.size()) * scale).toSize(), QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::white);
    widget.render(&image);
    return image;
}

/// The user's hands on a window.
struct Hands {
    template <class Widget> Widget *find(const char *name) const { return root().findChild<Widget *>(name); }
    void click(const char *name) const { QTest::mouseClick(find<QPushButton>(name), Qt::LeftButton); }
    void type(const char *name, const QString &text) const
    {
        find<QLineEdit>(name)->selectAll();
        QTest::keyClicks(find<QLineEdit>(name), text);
        QTest::keyClick(find<QLineEdit>(name), Qt::Key_Return);
    }
    static bool eventually(const std::function<bool()> &reached) { return QTest::qWaitFor(reached, 60000); }

protected:
    Hands() = default;
    virtual ~Hands() = default;
    [[nodiscard]] virtual QWidget &root() const = 0;
};

} // namespace kx::test
