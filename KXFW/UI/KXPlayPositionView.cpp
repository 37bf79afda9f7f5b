#include "KXFW/UI/KXPlayPositionViewImpl.h"

#include "KXFW/Platform/Toolkit/ViewClasses.h"

const double kMarkerWidth = 10.0;
const double kMarkerHeight = 10.0;
const double kMarkerOffsetY = 5.0;
const double kBarHeight = 8.0;
const double kPlayLineWidth = 0.5;
const double kPlayLineHeight = 12.0;
const int64_t kMinimumLoopRange = 44100;

namespace
{

const kx::ViewClassRegistration<KXPlayPositionView> registeredKXPlayPositionView("KXPlayPositionView");

} // namespace

KXPlayPositionView::KXPlayPositionView() : impl_(std::make_unique<Impl>(*this)) {}

KXPlayPositionView::~KXPlayPositionView()
{
    for (const std::string &key : _observingKeys())
        removeObserver(this, key);
}

void KXPlayPositionView::awakeFromNib()
{
    _setUpProperties();
    _registerObservers();
    _setUpBarBackLayer();
    _setUpBarForeLayer();
    _setUpStartFrameLayer();
    _setUpEndFrameLayer();
    _setUpPlayFrameLayer();
    setEnabled(false);
}

void KXPlayPositionView::layout()
{
    _updateLayers();
}

void KXPlayPositionView::hostDidChangeEnabled()
{
    _updateLayers();
}

bool KXPlayPositionView::setOutlet(const std::string &name, const std::shared_ptr<NSObject> &object)
{
    const auto delegate = std::dynamic_pointer_cast<KXPlayPositionViewDelegate>(object);
    if (name != "delegate" || !delegate)
        return NSView::setOutlet(name, object);
    setDelegate(delegate);
    return true;
}

void KXPlayPositionView::_setUpProperties()
{
    setNumFrames(44100);
    setEndFrame(numFrames());
}

void KXPlayPositionView::_registerObservers()
{
    for (const std::string &key : _observingKeys())
        addObserver(this, key);
}

const std::vector<std::string> &KXPlayPositionView::_observingKeys() const
{
    static const std::vector<std::string> keys{"startFrame", "endFrame", "internalPlayFrame", "numFrames", "enabled"};
    return keys;
}

void KXPlayPositionView::didChangeValueForKey(const std::string &)
{
    _updateLayers();
}

void KXPlayPositionView::setStartFrame(int64_t frame)
{
    impl_->store("startFrame", impl_->startFrame, frame);
}

void KXPlayPositionView::setEndFrame(int64_t frame)
{
    impl_->store("endFrame", impl_->endFrame, frame);
}

void KXPlayPositionView::setInternalPlayFrame(int64_t frame)
{
    impl_->store("internalPlayFrame", impl_->internalPlayFrame, frame);
}

void KXPlayPositionView::setNumFrames(int64_t frames)
{
    impl_->store("numFrames", impl_->numFrames, frames);
}

void KXPlayPositionView::setEnabled(bool enabled)
{
    impl_->store("enabled", impl_->enabled, enabled);
}

void KXPlayPositionView::setPlayFrame(int64_t frame)
{
    if (!impl_->isDragging)
        setInternalPlayFrame(frame);
}

// The fields

int64_t KXPlayPositionView::startFrame() const noexcept
{
    return impl_->startFrame;
}

int64_t KXPlayPositionView::endFrame() const noexcept
{
    return impl_->endFrame;
}

int64_t KXPlayPositionView::internalPlayFrame() const noexcept
{
    return impl_->internalPlayFrame;
}

int64_t KXPlayPositionView::numFrames() const noexcept
{
    return impl_->numFrames;
}

bool KXPlayPositionView::enabled() const noexcept
{
    return impl_->enabled;
}

int64_t KXPlayPositionView::playFrame() const noexcept
{
    return impl_->internalPlayFrame;
}

bool KXPlayPositionView::isDragging() const noexcept
{
    return impl_->isDragging;
}

std::shared_ptr<KXPlayPositionViewDelegate> KXPlayPositionView::delegate() const
{
    return impl_->delegate.lock();
}

const std::shared_ptr<CAShapeLayer> &KXPlayPositionView::playFrameLayer() const noexcept
{
    return impl_->playFrameLayer;
}

const std::shared_ptr<CAShapeLayer> &KXPlayPositionView::barForeLayer() const noexcept
{
    return impl_->barForeLayer;
}

const std::shared_ptr<CAShapeLayer> &KXPlayPositionView::barBackLayer() const noexcept
{
    return impl_->barBackLayer;
}

CGPathRef KXPlayPositionView::startMarkerPath() const
{
    return impl_->startMarkerPath.lock();
}

std::shared_ptr<CALayer> KXPlayPositionView::draggingLayer() const
{
    return impl_->draggingLayer.lock();
}

NSPoint KXPlayPositionView::mouseDownPoint() const noexcept
{
    return impl_->mouseDownPoint;
}

void KXPlayPositionView::setIsDragging(bool isDragging) noexcept
{
    impl_->isDragging = isDragging;
}

void KXPlayPositionView::setDelegate(const std::shared_ptr<KXPlayPositionViewDelegate> &delegate)
{
    impl_->delegate = delegate;
}

void KXPlayPositionView::setStartFrameLayer(const std::shared_ptr<KXARangeKnobLayer> &layer)
{
    impl_->startFrameLayer = layer;
}

void KXPlayPositionView::setEndFrameLayer(const std::shared_ptr<KXAEndRangeKnobLayer> &layer)
{
    impl_->endFrameLayer = layer;
}

void KXPlayPositionView::setPlayFrameLayer(const std::shared_ptr<CAShapeLayer> &layer)
{
    impl_->playFrameLayer = layer;
}

void KXPlayPositionView::setBarForeLayer(const std::shared_ptr<CAShapeLayer> &layer)
{
    impl_->barForeLayer = layer;
}

void KXPlayPositionView::setBarBackLayer(const std::shared_ptr<CAShapeLayer> &layer)
{
    impl_->barBackLayer = layer;
}

void KXPlayPositionView::setStartMarkerPath(const CGPathRef &path)
{
    impl_->startMarkerPath = path;
}

void KXPlayPositionView::setDraggingLayer(const std::shared_ptr<CALayer> &layer)
{
    impl_->draggingLayer = layer;
}

void KXPlayPositionView::setMouseDownPoint(NSPoint point) noexcept
{
    impl_->mouseDownPoint = point;
}

const std::shared_ptr<KXARangeKnobLayer> &KXPlayPositionView::startFrameLayer() const noexcept
{
    return impl_->startFrameLayer;
}

const std::shared_ptr<KXAEndRangeKnobLayer> &KXPlayPositionView::endFrameLayer() const noexcept
{
    return impl_->endFrameLayer;
}
