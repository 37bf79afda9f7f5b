#pragma once

#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Toolkit/NSView.h"
#include "KXFW/UI/KXAEndRangeKnobLayer.h"
#include "KXFW/UI/KXARangeKnobLayer.h"
#include "KXFW/UI/KXPlayPositionViewDelegate.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Sizes in points.
/// Of a knob; also the inset of the bar from each side of the view.
KX_EXPORT extern const double kMarkerWidth KX_SYMBOL(kMarkerWidth);
KX_EXPORT extern const double kMarkerHeight KX_SYMBOL(kMarkerHeight);   ///< of a knob
KX_EXPORT extern const double kMarkerOffsetY KX_SYMBOL(kMarkerOffsetY); ///< y of a knob before the first layout
KX_EXPORT extern const double kBarHeight KX_SYMBOL(kBarHeight);
KX_EXPORT extern const double kPlayLineWidth KX_SYMBOL(kPlayLineWidth);
KX_EXPORT extern const double kPlayLineHeight KX_SYMBOL(kPlayLineHeight);
/// The shortest loop range that drags and keys make, in frames.
KX_EXPORT extern const int64_t kMinimumLoopRange KX_SYMBOL(kMinimumLoopRange);

/// The transport bar: a bar that stands for a whole audio file, a filled stretch for the loop range with a knob below
/// each of its ends, and a line at the play position. The user drags the line, or clicks on the stretch, and drags the
/// knobs. The view reports that to its delegate, which feeds the position and the range of the player back.
///
/// It owns five sublayers of its root layer, which it must have when it awakes, and is the delegate of its knobs. Each
/// setter of an observed key lays the layers out, also with the same value; nobody else hears of these changes. Before
/// `awakeFromNib` the setters only store.
///
/// States: idle; pressed on nothing; dragging the play line; dragging a knob; pressed on the outline, which moves
/// nothing. A press while enabled leaves idle, a release while enabled returns to it. In between `isDragging` is YES,
/// `setPlayFrame` is dropped and keys do nothing. While the view is disabled it takes no events.
///
/// Values given to the setters are stored and drawn without a test. What the user does is bounded: the play frame to
/// [0, endFrame], the range to at least kMinimumLoopRange where the file has room for it. In any file a range that
/// keeps to 0 <= startFrame <= endFrame <= numFrames goes on to do so. In a view of up to 20 points, and for a file
/// without frames, every frame is at 10.0 and every x is frame 0.
///
/// The mouse handlers keep the view until they return: a delegate may drop the last reference to it. Main thread only.
class KX_EXPORT KXPlayPositionView : public NSView, public KXARangeKnobLayerDelegate
{
public:
    KXPlayPositionView();           ///< Empty until it awakes. [main]
    ~KXPlayPositionView() override; ///< [main]

    // What the host calls. All [main].

    void awakeFromNib() override;
    void layout() override;
    void hostDidChangeEnabled() override;
    /// As high as the knobs need; as wide as the shortest bar that is of use.
    [[nodiscard]] NSSize intrinsicContentSize() const override;
    void mouseDown(const NSEvent &event) override;
    void mouseDragged(const NSEvent &event) override;
    void mouseUp(const NSEvent &event) override;
    /// The play line, the start knob and the end knob. They outlive the view without harm.
    [[nodiscard]] std::vector<std::shared_ptr<kx::SliderElement>> sliderElements() override;
    /// Takes "delegate", a KXPlayPositionViewDelegate.
    bool setOutlet(const std::string &name, const std::shared_ptr<NSObject> &object) override;

    // The observed keys: each setter lays the layers out. Frames of the file. All [main].

    [[nodiscard]] int64_t startFrame() const noexcept;
    void setStartFrame(int64_t frame);
    [[nodiscard]] int64_t endFrame() const noexcept;
    void setEndFrame(int64_t frame);
    [[nodiscard]] int64_t internalPlayFrame() const noexcept;
    void setInternalPlayFrame(int64_t frame);
    [[nodiscard]] int64_t numFrames() const noexcept;
    void setNumFrames(int64_t frames);
    /// Whether the user can use the bar. It is paler while not, and while its host is disabled.
    [[nodiscard]] bool enabled() const noexcept;
    void setEnabled(bool enabled);

    // Other fields: the setters only store. All [main].

    /// The play position as the player sees it: `internalPlayFrame`, but a value set during a drag is dropped.
    [[nodiscard]] int64_t playFrame() const noexcept;
    void setPlayFrame(int64_t frame);
    [[nodiscard]] bool isDragging() const noexcept;
    void setIsDragging(bool isDragging) noexcept;
    /// Borrowed; null once it is gone.
    [[nodiscard]] std::shared_ptr<KXPlayPositionViewDelegate> delegate() const;
    void setDelegate(const std::shared_ptr<KXPlayPositionViewDelegate> &delegate);
    [[nodiscard]] const std::shared_ptr<KXARangeKnobLayer> &startFrameLayer() const noexcept;
    void setStartFrameLayer(const std::shared_ptr<KXARangeKnobLayer> &layer);
    [[nodiscard]] const std::shared_ptr<KXAEndRangeKnobLayer> &endFrameLayer() const noexcept;
    void setEndFrameLayer(const std::shared_ptr<KXAEndRangeKnobLayer> &layer);
    [[nodiscard]] const std::shared_ptr<CAShapeLayer> &playFrameLayer() const noexcept;
    void setPlayFrameLayer(const std::shared_ptr<CAShapeLayer> &layer);
    [[nodiscard]] const std::shared_ptr<CAShapeLayer> &barForeLayer() const noexcept;
    void setBarForeLayer(const std::shared_ptr<CAShapeLayer> &layer);
    [[nodiscard]] const std::shared_ptr<CAShapeLayer> &barBackLayer() const noexcept;
    void setBarBackLayer(const std::shared_ptr<CAShapeLayer> &layer);
    /// Borrowed, and not used by the view itself; null once it is gone.
    [[nodiscard]] CGPathRef startMarkerPath() const;
    void setStartMarkerPath(const CGPathRef &path);
    /// The sublayer that the drag acts on, borrowed; null between drags.
    [[nodiscard]] std::shared_ptr<CALayer> draggingLayer() const;
    void setDraggingLayer(const std::shared_ptr<CALayer> &layer);
    /// Where the last press on a sublayer was, in window coordinates.
    [[nodiscard]] NSPoint mouseDownPoint() const noexcept;
    void setMouseDownPoint(NSPoint point) noexcept;

    // Set-up and observing. All [main].

    void _setUpProperties();
    void _registerObservers();
    [[nodiscard]] const std::vector<std::string> &_observingKeys() const;
    /// Lays the layers out, whatever the key.
    void didChangeValueForKey(const std::string &key) override;

    // Geometry, in single precision: points of the view. All [main].

    [[nodiscard]] float _barWidth() const noexcept;             ///< Never below 0.
    [[nodiscard]] float _frame2X(int64_t frame) const noexcept; ///< The x of a frame, on the bar or not.
    [[nodiscard]] int64_t _x2Frame(float x) const noexcept;     ///< At most numFrames; negative left of the bar.
    /// The frame under the pointer, in [0, endFrame].
    [[nodiscard]] int64_t _frameFromEvent(const NSEvent &event) const noexcept;

    // The mouse. All [main].

    /// Moves the play position to `point2`, in window coordinates, wherever the press was.
    void _updatePlayFrameLayerWithPt(NSPoint mouseDownPoint, NSPoint point2);
    void _handleMouseEvent(const NSEvent &event); ///< Moves the play line when it is dragged.
    void knobLayerDidMove(KXARangeKnobLayer &knob) override;
    void _updateKnobRanges();    ///< Limits that keep the shortest range.
    void _updateEndFrameLayer(); ///< The end knob's upper limit, from the width.

    // The layers. All [main].

    void _setUpBarBackLayer();
    void _setUpBarForeLayer();
    virtual void _setUpStartFrameLayer(); ///< A subclass may bring a knob of its own (`addKnob`).
    virtual void _setUpEndFrameLayer();   ///< The same.
    void _setUpPlayFrameLayer();
    void _updateBarBackLayer();
    void _updateBarForeLayer();
    void _updateLayers(); ///< All five, without animation.
    [[nodiscard]] virtual NSColor _drawingColor() const noexcept;
    [[nodiscard]] virtual NSColor _disabledColor() const noexcept;
    [[nodiscard]] virtual NSColor _drawingStrokeColor() const noexcept;
    [[nodiscard]] virtual NSColor _disabledStrokeColor() const noexcept;
    /// Of device RGB.
    [[nodiscard]] NSColor _colorRed(double red, double green, double blue, double alpha) const noexcept;

protected:
    /// Limits the knob to the bar, listens to it and shows it. [main]
    void addKnob(const std::shared_ptr<KXARangeKnobLayer> &knob);

private:
    struct Impl;
    const std::unique_ptr<Impl> impl_;
};
