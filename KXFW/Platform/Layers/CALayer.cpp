#include "KXFW/Platform/Layers/CALayer.h"

#include "KXFW/Platform/Layers/LayerChanges.h"
#include "KXFW/Platform/Layers/RectMath.h"

#include <algorithm>
#include <utility>

CALayer::~CALayer()
{
    for (const auto &sublayer : sublayers_)
        sublayer->superlayer_ = nullptr;
}

void CALayer::setBounds(const NSRect &bounds)
{
    if (bounds_ != bounds)
        change([&] { bounds_ = bounds; });
}

void CALayer::setPosition(NSPoint position)
{
    if (position_ != position)
        change([&] { position_ = position; });
}

void CALayer::setAnchorPoint(NSPoint anchorPoint)
{
    if (anchorPoint_ != anchorPoint)
        change([&] { anchorPoint_ = anchorPoint; });
}

void CALayer::setMasksToBounds(bool masksToBounds)
{
    if (masksToBounds_ != masksToBounds)
        change([&] { masksToBounds_ = masksToBounds; });
}

NSRect CALayer::frame() const noexcept
{
    return {{position_.x - anchorPoint_.x * bounds_.size.width, position_.y - anchorPoint_.y * bounds_.size.height},
            bounds_.size};
}

void CALayer::setFrame(const NSRect &newFrame)
{
    if (frame() == newFrame)
        return;
    change([&] {
        bounds_.size = newFrame.size;
        position_ = {newFrame.origin.x + anchorPoint_.x * newFrame.size.width,
                     newFrame.origin.y + anchorPoint_.y * newFrame.size.height};
    });
}

void CALayer::addSublayer(std::shared_ptr<CALayer> sublayer)
{
    for (const CALayer *holder = this; holder; holder = holder->superlayer_)
        if (holder == sublayer.get())
            return;
    if (!sublayer)
        return;
    sublayer->removeFromSuperlayer();
    sublayer->superlayer_ = this;
    sublayers_.push_back(std::move(sublayer));
    sublayers_.back()->reportArea();
}

void CALayer::removeFromSuperlayer()
{
    if (!superlayer_)
        return;
    reportArea();
    auto &siblings = superlayer_->sublayers_;
    superlayer_ = nullptr;
    const auto own = std::ranges::find(siblings, this, &std::shared_ptr<CALayer>::get);
    const std::shared_ptr<CALayer> kept = std::move(*own); // may be the last reference
    siblings.erase(own);
}

NSPoint CALayer::originInSuperlayer() const noexcept
{
    const NSPoint corner = frame().origin;
    return {corner.x - bounds_.origin.x, corner.y - bounds_.origin.y};
}

std::shared_ptr<CALayer> CALayer::hitTest(NSPoint point)
{
    if (!kx::contains(frame(), point))
        return nullptr;
    const NSPoint origin = originInSuperlayer();
    const NSPoint own{point.x - origin.x, point.y - origin.y};
    for (std::size_t i = sublayers_.size(); i-- > 0;)
        if (auto hit = sublayers_[i]->hitTest(own))
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
    for (const auto &sublayer : sublayers_)
        area = kx::united(area, kx::moved(sublayer->paintedArea(), sublayer->originInSuperlayer()));
    return masksToBounds_ ? kx::intersected(area, bounds_) : area;
}

void CALayer::setHost(kx::LayerHost *host)
{
    if (host_ && host_ != host)
        kx::LayerChanges::forget(host_);
    host_ = host;
}

void CALayer::reportArea() const
{
    NSRect area = paintedArea();
    const CALayer *root = this;
    for (; root->superlayer_; root = root->superlayer_) {
        area = kx::moved(area, root->originInSuperlayer());
        if (root->superlayer_->masksToBounds_)
            area = kx::intersected(area, root->superlayer_->bounds_);
    }
    if (root->host_ && !kx::isEmpty(area))
        kx::LayerChanges::add(root->host_, area);
}
