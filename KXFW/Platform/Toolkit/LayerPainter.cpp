#include "KXFW/Platform/Toolkit/LayerPainter.h"

#include "KXFW/Platform/Layers/CAShapeLayer.h"
#include "KXFW/Platform/Layers/RectMath.h"
#include "KXFW/Platform/Toolkit/QtGeometry.h"

#include <QPainter>
#include <QPainterPath>

namespace
{

QPainterPath toQt(const CGPath &path)
{
    QPainterPath result;
    result.setFillRule(Qt::WindingFill);
    for (const CGPath::Figure &figure : path.figures()) {
        result.moveTo(kx::toQt(figure.points.front()));
        for (const NSPoint &point : figure.points)
            result.lineTo(kx::toQt(point));
        if (figure.closed)
            result.closeSubpath();
    }
    return result;
}

void paintShape(QPainter &painter, const CAShapeLayer &shape)
{
    if (!shape.path())
        return;
    const QPainterPath path = toQt(*shape.path());
    if (shape.fillColor())
        painter.fillPath(path, kx::toQt(*shape.fillColor()));
    if (shape.strokeColor())
        painter.strokePath(path, QPen(kx::toQt(*shape.strokeColor()), CAShapeLayer::lineWidth, Qt::SolidLine,
                                      Qt::FlatCap, Qt::MiterJoin));
}

/// Whether something of the layer lies outside its bounds. A clip has no soft edge, so it is set only where it cuts.
bool sticksOut(const CALayer &layer)
{
    NSRect area = layer.ownPaintedArea();
    for (const auto &sublayer : layer.sublayers()) {
        const NSPoint origin = sublayer->frame().origin;
        const NSPoint inner = sublayer->bounds().origin;
        area = kx::united(area, kx::moved(sublayer->paintedArea(), {origin.x - inner.x, origin.y - inner.y}));
    }
    return kx::united(area, layer.bounds()) != kx::standardized(layer.bounds());
}

} // namespace

void kx::paintLayers(QPainter &painter, const CALayer &root, const NSRect &area)
{
    if (isEmpty(intersected(root.paintedArea(), area)))
        return;
    painter.save();
    if (root.masksToBounds() && sticksOut(root))
        painter.setClipRect(kx::toQt(standardized(root.bounds())), Qt::IntersectClip);
    if (const auto *shape = dynamic_cast<const CAShapeLayer *>(&root))
        paintShape(painter, *shape);
    for (const auto &sublayer : root.sublayers()) {
        const NSPoint corner = sublayer->frame().origin;
        const NSPoint inner = sublayer->bounds().origin;
        const NSPoint offset{corner.x - inner.x, corner.y - inner.y};
        painter.save();
        painter.translate(kx::toQt(offset));
        paintLayers(painter, *sublayer, moved(area, {-offset.x, -offset.y}));
        painter.restore();
    }
    painter.restore();
}
