#include "KXFW/UI/KXPlayPositionViewImpl.h"

#include "KXFW/Platform/Layers/CATransaction.h"

#include <algorithm>

namespace
{

std::shared_ptr<CAShapeLayer> shapeLayer()
{
    auto layer = CALayer::layer<CAShapeLayer>();
    layer->setAnchorPoint({0, 0});
    return layer;
}

CGPathRef rectanglePath(const NSRect &rect)
{
    const CGMutablePathRef path = CGPathCreateMutable();
    CGPathAddRect(*path, rect);
    CGPathCloseSubpath(*path);
    return path;
}

void setFrameFromOrigin(CALayer &layer, const NSRect &frame)
{
    layer.setFrame(frame);
    layer.setBounds({{0, 0}, frame.size});
}

} // namespace

// Where the layers are

NSRect KXPlayPositionView::Impl::rootBounds() const
{
    return view.layer() ? view.layer()->bounds() : NSRect{};
}

void KXPlayPositionView::_updateLayers()
{
    const kx::LayerTransaction transaction;
    impl_->placeKnob(impl_->startFrameLayer.get(), _frame2X(impl_->startFrame) - kMarkerWidth);
    impl_->placeKnob(impl_->endFrameLayer.get(), _frame2X(impl_->endFrame));
    impl_->updatePlayFrameLayer();
    impl_->followEnabled(impl_->startFrameLayer.get());
    impl_->followEnabled(impl_->endFrameLayer.get());
    _updateBarBackLayer();
    _updateBarForeLayer();
    _updateEndFrameLayer();
    _updateKnobRanges();
}

void KXPlayPositionView::Impl::placeKnob(KXARangeKnobLayer *knob, double x) const
{
    if (knob)
        knob->setPosition(
            {x, CGRectGetMidY(view.bounds()) - CGRectGetHeight(knob->bounds()) - kBarHeight / 2}); // below the bar
}

void KXPlayPositionView::Impl::followEnabled(KXARangeKnobLayer *knob) const
{
    if (knob && knob->enabled() != looksEnabled())
        knob->setEnabled(looksEnabled());
}

void KXPlayPositionView::Impl::updatePlayFrameLayer() const
{
    if (!playFrameLayer)
        return;
    playFrameLayer->setPosition({view._frame2X(internalPlayFrame), CGRectGetMidY(view.bounds()) - kBarHeight / 2});
    playFrameLayer->setStrokeColor(strokeColor());
    playFrameLayer->setFillColor(strokeColor());
}

void KXPlayPositionView::_updateBarBackLayer()
{
    if (!impl_->barBackLayer)
        return;
    const NSRect root = impl_->rootBounds();
    const double width = std::max(0.0, CGRectGetWidth(root) - 2 * kMarkerWidth);
    setFrameFromOrigin(
        *impl_->barBackLayer,
        {{CGRectGetMinX(root) + kMarkerWidth, CGRectGetMidY(root) - kBarHeight / 2}, {width, kBarHeight}});
    impl_->barBackLayer->setStrokeColor(impl_->strokeColor());
    impl_->barBackLayer->setFillColor(std::nullopt);
    impl_->barBackLayer->setPath(rectanglePath(impl_->barBackLayer->bounds()));
}

void KXPlayPositionView::_updateBarForeLayer()
{
    if (!impl_->barForeLayer)
        return;
    const double start = _frame2X(impl_->startFrame);
    const double end = _frame2X(impl_->endFrame);
    setFrameFromOrigin(*impl_->barForeLayer,
                       {{start, CGRectGetMidY(impl_->rootBounds()) - kBarHeight / 2}, {end - start, kBarHeight}});
    impl_->barForeLayer->setFillColor(impl_->looksEnabled() ? _drawingColor() : _disabledColor());
    impl_->barForeLayer->setPath(rectanglePath(impl_->barForeLayer->bounds()));
}

// How they are made

void KXPlayPositionView::Impl::addToRoot(const std::shared_ptr<CALayer> &layer) const
{
    if (view.layer())
        view.layer()->addSublayer(layer);
}

void KXPlayPositionView::_setUpBarBackLayer()
{
    setBarBackLayer(shapeLayer());
    impl_->addToRoot(impl_->barBackLayer);
    _updateBarBackLayer();
}

void KXPlayPositionView::_setUpBarForeLayer()
{
    setBarForeLayer(shapeLayer());
    impl_->barForeLayer->setMasksToBounds(true);
    impl_->addToRoot(impl_->barForeLayer);
    _updateBarForeLayer();
}

void KXPlayPositionView::addKnob(const std::shared_ptr<KXARangeKnobLayer> &knob)
{
    knob->setMin(kMarkerWidth);
    knob->setMax(CGRectGetWidth(impl_->rootBounds()) - kMarkerWidth);
    knob->setKnobLayerDelegate(std::static_pointer_cast<KXPlayPositionView>(weak_from_this().lock()));
    impl_->addToRoot(knob);
}

void KXPlayPositionView::_setUpStartFrameLayer()
{
    setStartFrameLayer(KXARangeKnobLayer::initWithFrame({{0, kMarkerOffsetY}, {kMarkerWidth, kMarkerHeight}}));
    addKnob(impl_->startFrameLayer);
}

void KXPlayPositionView::_setUpEndFrameLayer()
{
    const double x = CGRectGetWidth(impl_->rootBounds()) - kMarkerWidth;
    setEndFrameLayer(
        KXARangeKnobLayer::initWithFrame<KXAEndRangeKnobLayer>({{x, kMarkerOffsetY}, {kMarkerWidth, kMarkerHeight}}));
    addKnob(impl_->endFrameLayer);
    _updateEndFrameLayer();
}

void KXPlayPositionView::_setUpPlayFrameLayer()
{
    setPlayFrameLayer(shapeLayer());
    setFrameFromOrigin(*impl_->playFrameLayer,
                       {{_frame2X(impl_->internalPlayFrame), CGRectGetMidY(impl_->rootBounds()) - kBarHeight / 2},
                        {kPlayLineWidth, kPlayLineHeight}});
    impl_->addToRoot(impl_->playFrameLayer);
    impl_->playFrameLayer->setPath(rectanglePath(impl_->playFrameLayer->bounds()));
}

// Colours

NSColor KXPlayPositionView::Impl::strokeColor() const
{
    return looksEnabled() ? view._drawingStrokeColor() : view._disabledStrokeColor();
}

NSColor KXPlayPositionView::_drawingColor() const noexcept
{
    return NSColor::colorWithDeviceRed(0.31, 0.37, 0.73, 0.8);
}

NSColor KXPlayPositionView::_disabledColor() const noexcept
{
    return NSColor::colorWithDeviceRed(0.31, 0.37, 0.73, 0.3);
}

NSColor KXPlayPositionView::_drawingStrokeColor() const noexcept
{
    return NSColor::colorWithDeviceRed(0.0, 0.0, 0.0, 1.0);
}

NSColor KXPlayPositionView::_disabledStrokeColor() const noexcept
{
    return NSColor::colorWithDeviceRed(0.0, 0.0, 0.0, 0.3);
}

NSColor KXPlayPositionView::_colorRed(double red, double green, double blue, double alpha) const noexcept
{
    return NSColor::colorWithDeviceRed(red, green, blue, alpha);
}
