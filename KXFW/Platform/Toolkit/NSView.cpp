#include "KXFW/Platform/Toolkit/NSView.h"

#include "KXFW/Platform/Toolkit/SliderElement.h"

NSView::~NSView() = default;

void NSView::setFrame(const NSRect &frame)
{
    const bool resized = frame.size != frame_.size;
    frame_ = frame;
    if (layer_)
        layer_->setFrame(frame_);
    if (resized)
        layout();
}

NSPoint NSView::convertPoint(NSPoint point, const NSView *view) const noexcept
{
    const NSPoint from = view ? view->frame_.origin : NSPoint{};
    return {point.x + from.x - frame_.origin.x, point.y + from.y - frame_.origin.y};
}

void NSView::setWantsLayer(bool wantsLayer)
{
    if (!wantsLayer || layer_)
        return;
    layer_ = CALayer::layer();
    layer_->setAnchorPoint({0, 0});
    layer_->setFrame(frame_);
    layer_->setHost(host_);
}

void NSView::setHost(kx::ViewHost *host)
{
    host_ = host;
    if (layer_)
        layer_->setHost(host);
}

void NSView::setNeedsDisplay(const NSRect &area)
{
    if (host_)
        host_->setNeedsDisplay(area);
}

void NSView::drawRect(const NSRect &) {}
void NSView::awakeFromNib() {}
void NSView::layout() {}
void NSView::hostDidChangeEnabled() {}
void NSView::mouseDown(const NSEvent &) {}
void NSView::mouseDragged(const NSEvent &) {}
void NSView::mouseUp(const NSEvent &) {}

std::vector<std::shared_ptr<kx::SliderElement>> NSView::sliderElements()
{
    return {};
}

bool NSView::setOutlet(const std::string &, const std::shared_ptr<NSObject> &)
{
    return false;
}
