#include "KXFW/UI/KXPlayPositionView.h"

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

NSRect KXPlayPositionView::rootBounds() const
{
    return layer() ? layer()->bounds() : NSRect{};
}

void KXPlayPositionView::_updateLayers()
{
    const kx::LayerTransaction transaction;
    placeKnob(startFrameLayer_.get(), _frame2X(startFrame_) - kMarkerWidth);
    placeKnob(endFrameLayer_.get(), _frame2X(endFrame_));
    updatePlayFrameLayer();
    followEnabled(startFrameLayer_.get());
    followEnabled(endFrameLayer_.get());
    _updateBarBackLayer();
    _updateBarForeLayer();
    _updateEndFrameLayer();
    _updateKnobRanges();
}

void KXPlayPositionView::placeKnob(KXARangeKnobLayer *knob, double x)
{
    if (knob)
        knob->setPosition(
            {x, CGRectGetMidY(bounds()) - CGRectGetHeight(knob->bounds()) - kBarHeight / 2}); // below the bar
}

void KXPlayPositionView::followEnabled(KXARangeKnobLayer *knob)
{
    if (knob && knob->enabled() != looksEnabled())
        knob->setEnabled(looksEnabled());
}

void KXPlayPositionView::updatePlayFrameLayer()
{
    if (!playFrameLayer_)
        return;
    playFrameLayer_->setPosition({_frame2X(internalPlayFrame_), CGRectGetMidY(bounds()) - kBarHeight / 2});
    playFrameLayer_->setStrokeColor(strokeColor());
    playFrameLayer_->setFillColor(strokeColor());
}

void KXPlayPositionView::_updateBarBackLayer()
{
    if (!barBackLayer_)
        return;
    const NSRect root = rootBounds();
    const double width = std::max(0.0, CGRectGetWidth(root) - 2 * kMarkerWidth);
    setFrameFromOrigin(*barBackLayer_, {{CGRectGetMinX(root) + kMarkerWidth, CGRectGetMidY(root) - kBarHeight / 2},
                                        {width, kBarHeight}});
    barBackLayer_->setStrokeColor(strokeColor());
    barBackLayer_->setFillColor(std::nullopt);
    barBackLayer_->setPath(rectanglePath(barBackLayer_->bounds()));
}

void KXPlayPositionView::_updateBarForeLayer()
{
    if (!barForeLayer_)
        return;
    const double start = _frame2X(startFrame_);
    const double end = _frame2X(endFrame_);
    setFrameFromOrigin(*barForeLayer_,
                       {{start, CGRectGetMidY(rootBounds()) - kBarHeight / 2}, {end - start, kBarHeight}});
    barForeLayer_->setFillColor(looksEnabled() ? _drawingColor() : _disabledColor());
    barForeLayer_->setPath(rectanglePath(barForeLayer_->bounds()));
}

// How they are made

void KXPlayPositionView::addToRoot(const std::shared_ptr<CALayer> &sublayer)
{
    if (layer())
        layer()->addSublayer(sublayer);
}

void KXPlayPositionView::_setUpBarBackLayer()
{
    setBarBackLayer(shapeLayer());
    addToRoot(barBackLayer_);
    _updateBarBackLayer();
}

void KXPlayPositionView::_setUpBarForeLayer()
{
    setBarForeLayer(shapeLayer());
    barForeLayer_->setMasksToBounds(true);
    addToRoot(barForeLayer_);
    _updateBarForeLayer();
}

void KXPlayPositionView::addKnob(const std::shared_ptr<KXARangeKnobLayer> &knob)
{
    knob->setMin(kMarkerWidth);
    knob->setMax(CGRectGetWidth(rootBounds()) - kMarkerWidth);
    knob->setKnobLayerDelegate(std::static_pointer_cast<KXPlayPositionView>(weak_from_this().lock()));
    addToRoot(knob);
}

void KXPlayPositionView::_setUpStartFrameLayer()
{
    setStartFrameLayer(KXARangeKnobLayer::initWithFrame({{0, kMarkerOffsetY}, {kMarkerWidth, kMarkerHeight}}));
    addKnob(startFrameLayer_);
}

void KXPlayPositionView::_setUpEndFrameLayer()
{
    const double x = CGRectGetWidth(rootBounds()) - kMarkerWidth;
    setEndFrameLayer(
        KXARangeKnobLayer::initWithFrame<KXAEndRangeKnobLayer>({{x, kMarkerOffsetY}, {kMarkerWidth, kMarkerHeight}}));
    addKnob(endFrameLayer_);
    _updateEndFrameLayer();
}

void KXPlayPositionView::_setUpPlayFrameLayer()
{
    setPlayFrameLayer(shapeLayer());
    setFrameFromOrigin(*playFrameLayer_, {{_frame2X(internalPlayFrame_), CGRectGetMidY(rootBounds()) - kBarHeight / 2},
                                          {kPlayLineWidth, kPlayLineHeight}});
    addToRoot(playFrameLayer_);
    playFrameLayer_->setPath(rectanglePath(playFrameLayer_->bounds()));
}

// Colours

NSColor KXPlayPositionView::strokeColor() const
{
    return looksEnabled() ? _drawingStrokeColor() : _disabledStrokeColor();
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
