#include "KXFW/Platform/Layers/CALayer.h"

#include "KXFW/Platform/Layers/LayerChanges.h"
#include "KXFW/Platform/Layers/LayerHost.h"
#include "KXFW/Platform/Layers/RectMath.h"

#include <algorithm>
#include <utility>

struct CALayer::Impl {
    [[nodiscard]] NSRect frame() const noexcept
    {
        return {{position.x - anchorPoint.x * bounds.size.width, position.y - anchorPoint.y * bounds.size.height},
                bounds.size};
    }
    [[nodiscard]] NSPoint originInSuperlayer() const noexcept
    {
        const NSPoint corner = frame().origin;
        return {corner.x - bounds.origin.x, corner.y - bounds.origin.y};
    }

    NSRect bounds;
    NSPoint position;
    NSPoint anchorPoint{0.5, 0.5};
    bool masksToBounds = false;
    std::vector<std::shared_ptr<CALayer>> sublayers;
    CALayer *superlayer = nullptr;
    kx::LayerHost *host = nullptr;
};

CALayer::CALayer() : impl_(std::make_unique<Impl>()) {}

CALayer::~CALayer()
{
    for (const auto &sublayer : impl_->sublayers)
        sublayer->impl_->superlayer = nullptr;
}

const NSRect &CALayer::bounds() const noexcept
{
    return impl_->bounds;
}

void CALayer::setBounds(const NSRect &bounds)
{
    if (impl_->bounds != bounds)
        change([&] { impl_->bounds = bounds; });
}

NSPoint CALayer::position() const noexcept
{
    return impl_->position;
}

void CALayer::setPosition(NSPoint position)
{
    if (impl_->position != position)
        change([&] { impl_->position = position; });
}

NSPoint CALayer::anchorPoint() const noexcept
{
    return impl_->anchorPoint;
}

void CALayer::setAnchorPoint(NSPoint anchorPoint)
{
    if (impl_->anchorPoint != anchorPoint)
        change([&] { impl_->anchorPoint = anchorPoint; });
}

bool CALayer::masksToBounds() const noexcept
{
    return impl_->masksToBounds;
}

void CALayer::setMasksToBounds(bool masksToBounds)
{
    if (impl_->masksToBounds != masksToBounds)
        change([&] { impl_->masksToBounds = masksToBounds; });
}

NSRect CALayer::frame() const noexcept
{
    return impl_->frame();
}

void CALayer::setFrame(const NSRect &newFrame)
{
    if (frame() == newFrame)
        return;
    change([&] {
        impl_->bounds.size = newFrame.size;
        impl_->position = {newFrame.origin.x + impl_->anchorPoint.x * newFrame.size.width,
                           newFrame.origin.y + impl_->anchorPoint.y * newFrame.size.height};
    });
}

const std::vector<std::shared_ptr<CALayer>> &CALayer::sublayers() const noexcept
{
    return impl_->sublayers;
}

CALayer *CALayer::superlayer() const noexcept
{
    return impl_->superlayer;
}

void CALayer::addSublayer(std::shared_ptr<CALayer> sublayer)
{
    for (const CALayer *holder = this; holder; holder = holder->impl_->superlayer)
        if (holder == sublayer.get())
            return;
    if (!sublayer)
        return;
    sublayer->removeFromSuperlayer();
    sublayer->impl_->superlayer = this;
    impl_->sublayers.push_back(std::move(sublayer));
    impl_->sublayers.back()->reportArea();
}

void CALayer::removeFromSuperlayer()
{
    if (!impl_->superlayer)
        return;
    reportArea();
    auto &siblings = impl_->superlayer->impl_->sublayers;
    impl_->superlayer = nullptr;
    const auto own = std::ranges::find(siblings, this, &std::shared_ptr<CALayer>::get);
    const std::shared_ptr<CALayer> kept = std::move(*own); // may be the last reference
    siblings.erase(own);
}

std::shared_ptr<CALayer> CALayer::hitTest(NSPoint point)
{
    if (!kx::contains(frame(), point))
        return nullptr;
    const NSPoint origin = impl_->originInSuperlayer();
    const NSPoint own{point.x - origin.x, point.y - origin.y};
    for (std::size_t i = impl_->sublayers.size(); i-- > 0;)
        if (auto hit = impl_->sublayers[i]->hitTest(own))
            return hit;
    return shared_from_this();
}

NSRect CALayer::ownPaintedArea() const
{
    return {};
}

NSRect CALayer::paintedArea() const
{
    NSRect area = ownPaintedArea();
    for (const auto &sublayer : impl_->sublayers)
        area = kx::united(area, kx::moved(sublayer->paintedArea(), sublayer->impl_->originInSuperlayer()));
    return impl_->masksToBounds ? kx::intersected(area, impl_->bounds) : area;
}

void kx::LayerHost::set(CALayer &root, LayerHost *host)
{
    LayerHost *&current = root.impl_->host;
    if (current && current != host)
        LayerChanges::forget(current);
    current = host;
}

void CALayer::reportArea() const
{
    NSRect area = paintedArea();
    const CALayer *root = this;
    for (; root->impl_->superlayer; root = root->impl_->superlayer) {
        area = kx::moved(area, root->impl_->originInSuperlayer());
        if (root->impl_->superlayer->impl_->masksToBounds)
            area = kx::intersected(area, root->impl_->superlayer->impl_->bounds);
    }
    if (root->impl_->host && !kx::isEmpty(area))
        kx::LayerChanges::add(root->impl_->host, area);
}
