#include "KXFW/UI/KXPlayPositionView.h"

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

template <class Value> void KXPlayPositionView::store(const char *key, Value &field, Value value)
{
    const bool observed = isObserved(key);
    if (observed)
        willChangeValueForKey(key);
    field = value;
    if (observed)
        didChangeValueForKey(key);
}

void KXPlayPositionView::setStartFrame(int64_t frame)
{
    store("startFrame", startFrame_, frame);
}

void KXPlayPositionView::setEndFrame(int64_t frame)
{
    store("endFrame", endFrame_, frame);
}

void KXPlayPositionView::setInternalPlayFrame(int64_t frame)
{
    store("internalPlayFrame", internalPlayFrame_, frame);
}

void KXPlayPositionView::setNumFrames(int64_t frames)
{
    store("numFrames", numFrames_, frames);
}

void KXPlayPositionView::setEnabled(bool enabled)
{
    store("enabled", enabled_, enabled);
}

void KXPlayPositionView::setPlayFrame(int64_t frame)
{
    if (!isDragging_)
        setInternalPlayFrame(frame);
}
