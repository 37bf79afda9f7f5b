#pragma once

#include "KXFW/Platform/Foundation/NSAlert.h"
#include "KXFW/Platform/Toolkit/ToolkitEdge.h"

#include <QImage>
#include <QWidget>

#include <stdexcept>
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
            shown.push_back(alert);
            if (fails)
                throw std::runtime_error("no display");
        });
    }
    ~AlertRecorder() { NSAlert::setPresenter({}); }
    AlertRecorder(const AlertRecorder &) = delete;
    AlertRecorder &operator=(const AlertRecorder &) = delete;

    std::vector<NSAlert> shown;
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

} // namespace kx::test
