#pragma once

#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Layers/CALayer.h"
#include "KXFW/Platform/Toolkit/NSView.h"

#include <QWidget>

#include <memory>
#include <vector>

namespace kx
{

class ElementWidget;
class PaintPacer;

/// The widget that a view lives in: it can stand in any layout of the toolkit. It owns the view, places it, paints it
/// with antialiasing at the screen's scale, and turns events of the left button into the view's. Changes of the view's
/// layers are painted at most once a refresh of the display, and only where they are. Main thread only.
class KX_EXPORT ViewWidget : public QWidget, private ViewHost
{
public:
    explicit ViewWidget(std::shared_ptr<NSView> view, QWidget *parent = nullptr); ///< [main]
    ~ViewWidget() override;                                                       ///< [main]

    [[nodiscard]] const std::shared_ptr<NSView> &view() const noexcept { return view_; } ///< [main]
    /// Tells the view that it has come out of an interface file, and makes its focus stops. Once, or never. [main]
    void awake();
    /// Backs the view with a layer and shows it. [main]
    void backWithLayer();

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    void setNeedsDisplay(const NSRect &area) override;
    [[nodiscard]] bool hostIsEnabled() const override { return isEnabled(); }
    void layersDidChange(const std::vector<NSRect> &areas) override;
    void placeView();
    void refreshElements();
    void send(void (NSView::*handler)(const NSEvent &), QPointF inWindow);
    void release(QPointF inWindow);

    std::shared_ptr<NSView> view_;
    std::unique_ptr<PaintPacer> pacer_;
    std::vector<ElementWidget *> elements_; ///< children, in the order of the view's elements
    bool pressed_ = false;
    QPointF lastPosition_;
};

} // namespace kx
