#include "KXFW/UI/KXPlayPositionViewImpl.h"

#include "KXFW/Platform/Layers/CATransaction.h"

namespace
{

KXARangeKnobLayer *asKnob(const std::shared_ptr<CALayer> &layer)
{
    return dynamic_cast<KXARangeKnobLayer *>(layer.get());
}

/// Back to idle when the release has been handled, also when a delegate throws.
class DragEnd
{
public:
    explicit DragEnd(KXPlayPositionView &view) noexcept : view_(view) {}
    ~DragEnd()
    {
        view_.setDraggingLayer(nullptr);
        view_.setIsDragging(false);
    }
    DragEnd(const DragEnd &) = delete;
    DragEnd &operator=(const DragEnd &) = delete;

private:
    KXPlayPositionView &view_;
};

} // namespace

void KXPlayPositionView::mouseDown(const NSEvent &event)
{
    if (!impl_->enabled)
        return;
    const auto kept = weak_from_this().lock();
    setIsDragging(true);
    const NSPoint location = event.locationInWindow();
    const std::shared_ptr<CALayer> hit = layer() ? layer()->hitTest(location) : nullptr;
    if (!hit || hit == layer())
        return;
    const std::shared_ptr<CALayer> dragging = hit == impl_->barForeLayer ? impl_->playFrameLayer : hit;
    setMouseDownPoint(location);
    setDraggingLayer(dragging);
    if (auto *knob = asKnob(dragging))
        knob->mouseDown(event);
    else
        _handleMouseEvent(event);
}

void KXPlayPositionView::mouseDragged(const NSEvent &event)
{
    if (!impl_->enabled)
        return;
    const auto kept = weak_from_this().lock();
    const auto dragging = draggingLayer();
    if (auto *knob = asKnob(dragging))
        knob->mouseDragged(event);
    else
        _handleMouseEvent(event);
}

void KXPlayPositionView::mouseUp(const NSEvent &event)
{
    if (!impl_->enabled)
        return;
    const auto kept = weak_from_this().lock();
    const DragEnd end(*this);
    const auto dragging = draggingLayer();
    auto *knob = asKnob(dragging);
    if (!knob)
        return;
    knob->mouseUp(event);
    const auto told = delegate();
    if (told && knob == impl_->startFrameLayer.get())
        told->PlayPositionViewDidChangeStartFrame(impl_->startFrame);
    else if (told && knob == impl_->endFrameLayer.get())
        told->PlayPositionViewDidChangeEndFrame(impl_->endFrame);
}

void KXPlayPositionView::_handleMouseEvent(const NSEvent &event)
{
    const NSPoint location = event.locationInWindow();
    const auto dragging = draggingLayer();
    if (!dragging)
        return;
    const kx::LayerTransaction transaction;
    CATransaction::setAnimationDuration(0.0);
    if (dragging != impl_->playFrameLayer)
        return;
    _updatePlayFrameLayerWithPt(impl_->mouseDownPoint, location);
    if (const auto told = delegate())
        told->PlayPositionViewDidChangePlayFrame(_frameFromEvent(event));
}

void KXPlayPositionView::_updatePlayFrameLayerWithPt(NSPoint, NSPoint point2)
{
    setInternalPlayFrame(impl_->frameUnder(point2));
}
