#pragma once

#include "KXFW/UI/KXPlayPositionView.h"

/// The fields of the view, and what only it does.
struct KXPlayPositionView::Impl {
    explicit Impl(KXPlayPositionView &own) noexcept : view(own) {}

    /// Stores a value of an observed key.
    template <class Value> void store(const char *key, Value &field, Value value)
    {
        const bool observed = view.isObserved(key);
        if (observed)
            view.willChangeValueForKey(key);
        field = value;
        if (observed)
            view.didChangeValueForKey(key);
    }

    [[nodiscard]] int64_t frameUnder(NSPoint pointInWindow) const noexcept;
    [[nodiscard]] NSRect rootBounds() const;
    [[nodiscard]] NSColor strokeColor() const;
    [[nodiscard]] bool looksEnabled() const { return enabled && view.hostIsEnabled(); }
    void addToRoot(const std::shared_ptr<CALayer> &layer) const;
    void placeKnob(KXARangeKnobLayer *knob, double x) const;
    void updatePlayFrameLayer() const;
    void followEnabled(KXARangeKnobLayer *knob) const;

    KXPlayPositionView &view;
    bool enabled = false;
    bool isDragging = false;
    std::weak_ptr<KXPlayPositionViewDelegate> delegate;
    int64_t startFrame = 0;
    int64_t endFrame = 0;
    int64_t numFrames = 0;
    std::shared_ptr<KXARangeKnobLayer> startFrameLayer;
    std::shared_ptr<KXAEndRangeKnobLayer> endFrameLayer;
    std::shared_ptr<CAShapeLayer> playFrameLayer;
    std::shared_ptr<CAShapeLayer> barForeLayer;
    std::shared_ptr<CAShapeLayer> barBackLayer;
    std::weak_ptr<const CGPath> startMarkerPath;
    std::weak_ptr<CALayer> draggingLayer;
    int64_t internalPlayFrame = 0;
    NSPoint mouseDownPoint;
};
