#include "KXFW/Platform/Toolkit/NSGraphics.h"

#include "KXFW/Platform/Foundation/NSColor.h"
#include "KXFW/Platform/Layers/RectMath.h"
#include "KXFW/Platform/Toolkit/DrawingScope.h"
#include "KXFW/Platform/Toolkit/QtGeometry.h"

#include <QPainter>

#include <utility>

namespace
{

constinit QPainter *focused = nullptr; // of the main thread

} // namespace

kx::DrawingScope::DrawingScope(QPainter &painter) : outer_(std::exchange(focused, &painter)) {}

kx::DrawingScope::~DrawingScope()
{
    focused = outer_;
}

void NSFrameRect(const NSRect &rect)
{
    if (!focused || kx::isEmpty(rect))
        return;
    const QRectF outside = kx::toQt(kx::standardized(rect));
    const double width = std::min({1.0, outside.width() / 2, outside.height() / 2});
    const QColor color = kx::toQt(NSColor::current());
    focused->fillRect(QRectF(outside.left(), outside.top(), outside.width(), width), color);
    focused->fillRect(QRectF(outside.left(), outside.bottom() - width, outside.width(), width), color);
    const double height = outside.height() - 2 * width;
    focused->fillRect(QRectF(outside.left(), outside.top() + width, width, height), color);
    focused->fillRect(QRectF(outside.right() - width, outside.top() + width, width, height), color);
}
