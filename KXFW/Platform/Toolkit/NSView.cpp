#include "KXFW/Platform/Toolkit/NSView.h"

#include "KXFW/Platform/Toolkit/SliderElement.h"
#include "KXFW/Platform/Toolkit/ViewHost.h"

struct NSView::Impl {
    NSRect frame;
    std::shared_ptr<CALayer> layer;
    kx::ViewHost *host = nullptr;
};

NSView::NSView() : impl_(std::make_unique<Impl>()) {}

NSView::~NSView() = default;

const NSRect &NSView::frame() const noexcept
{
    return impl_->frame;
}

NSRect NSView::bounds() const noexcept
{
    return {{0, 0}, impl_->frame.size};
}

bool NSView::wantsLayer() const noexcept
{
    return impl_->layer != nullptr;
}

const std::shared_ptr<CALayer> &NSView::layer() const noexcept
{
    return impl_->layer;
}

bool NSView::hostIsEnabled() const
{
    return !impl_->host || impl_->host->hostIsEnabled();
}

void NSView::setFrame(const NSRect &frame)
{
    const bool resized = frame.size != impl_->frame.size;
    impl_->frame = frame;
    if (impl_->layer)
        impl_->layer->setFrame(impl_->frame);
    if (resized)
        layout();
}

NSSize NSView::intrinsicContentSize() const
{
    return {-1, -1};
}

NSPoint NSView::convertPoint(NSPoint point, const NSView *view) const noexcept
{
    const NSPoint from = view ? view->frame().origin : NSPoint{};
    return {point.x + from.x - impl_->frame.origin.x, point.y + from.y - impl_->frame.origin.y};
}

void NSView::setWantsLayer(bool wantsLayer)
{
    if (!wantsLayer || impl_->layer)
        return;
    impl_->layer = CALayer::layer();
    impl_->layer->setAnchorPoint({0, 0});
    impl_->layer->setFrame(impl_->frame);
    kx::LayerHost::set(*impl_->layer, impl_->host);
}

void kx::ViewHost::set(NSView &view, ViewHost *host)
{
    view.impl_->host = host;
    if (view.layer())
        LayerHost::set(*view.layer(), host);
}

void NSView::setNeedsDisplay(const NSRect &area)
{
    if (impl_->host)
        impl_->host->setNeedsDisplay(area);
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
