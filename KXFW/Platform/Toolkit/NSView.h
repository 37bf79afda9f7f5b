#pragma once

#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Foundation/Geometry.h"
#include "KXFW/Platform/Foundation/NSObject.h"
#include "KXFW/Platform/Layers/CALayer.h"
#include "KXFW/Platform/Toolkit/NSEvent.h"

#include <memory>
#include <string>
#include <vector>

namespace kx
{

class SliderElement;

class ViewHost;

} // namespace kx

/// A rectangle of a window that draws itself and answers the mouse. Its coordinates are points with the origin at the
/// bottom left of its bounds, y growing upward, at any scale of the screen. It knows nothing of the toolkit: a host
/// (kx::ViewWidget) places it, shows it and hands it the events; views between it and its window are the toolkit's. A
/// view that is backed by a layer shows the tree under its root layer above what `drawRect` drew. The root layer's
/// frame is the view's rectangle in its window, so that a hit test takes window coordinates.
///
/// Made with std::make_shared; the host owns it. Main thread only.
class KX_EXPORT NSView : public NSObject, public std::enable_shared_from_this<NSView>
{
public:
    NSView();           ///< An empty rectangle without a layer. [main]
    ~NSView() override; ///< [main]

    // Geometry. All [main].

    /// The rectangle in the window, in points.
    [[nodiscard]] const NSRect &frame() const noexcept;
    /// Places the view, which its host does when the window is laid out; another size is followed by `layout`.
    void setFrame(const NSRect &frame);
    [[nodiscard]] NSRect bounds() const noexcept;
    /// The size that it takes to show all of the view; below 0 where the view does not mind, as in the base.
    [[nodiscard]] virtual NSSize intrinsicContentSize() const;
    /// A point of the window (`view` null), or of another view in the same window, in this view's coordinates.
    [[nodiscard]] NSPoint convertPoint(NSPoint point, const NSView *view = nullptr) const noexcept;

    // Drawing. All [main].

    /// Whether the view is backed by a layer. At first not. The root layer is made when this becomes YES and never
    /// goes.
    [[nodiscard]] bool wantsLayer() const noexcept;
    void setWantsLayer(bool wantsLayer);
    [[nodiscard]] const std::shared_ptr<CALayer> &layer() const noexcept; ///< The root layer, or null.
    /// Asks for the part of the bounds to be painted anew, at the next refresh of the display.
    void setNeedsDisplay(const NSRect &area);
    /// Whether the host lets events through; YES without one.
    [[nodiscard]] bool hostIsEnabled() const;
    /// Paints the part `dirtyRect` of the bounds, with the drawing functions (NSGraphics.h); the base paints nothing.
    virtual void drawRect(const NSRect &dirtyRect);

    // What the host calls. All [main].

    /// The view has come out of an interface file: properties and outlets are set.
    virtual void awakeFromNib();
    /// The bounds have another size.
    virtual void layout();
    /// The host has been enabled or disabled; the base does nothing.
    virtual void hostDidChangeEnabled();
    /// Presses, drags and releases of the left button; a drag and its release arrive wherever the pointer is. Each
    /// press has one release.
    virtual void mouseDown(const NSEvent &event);
    virtual void mouseDragged(const NSEvent &event);
    virtual void mouseUp(const NSEvent &event);
    /// The parts of the view that the keyboard reaches, in their order; the base has none. Asked once, after awakening.
    [[nodiscard]] virtual std::vector<std::shared_ptr<kx::SliderElement>> sliderElements();
    /// Connects what an interface file names, such as "delegate", to an object. The base knows no names.
    /// @return whether the view has an outlet of that name that takes this object
    virtual bool setOutlet(const std::string &name, const std::shared_ptr<NSObject> &object);

private:
    friend class kx::ViewHost;

    struct Impl;
    const std::unique_ptr<Impl> impl_;
};
