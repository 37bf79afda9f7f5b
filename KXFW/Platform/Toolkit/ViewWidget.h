#pragma once

#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Toolkit/NSView.h"

#include <QWidget>

#include <memory>

namespace kx
{

/// The widget that a view lives in: it can stand in any layout of the toolkit. It owns the view, places it, paints it
/// with antialiasing at the screen's scale, and turns events of the left button into the view's. Changes of the view's
/// layers are painted at most once a refresh of the display, and only where they are. Main thread only.
class KX_EXPORT ViewWidget : public QWidget
{
public:
    explicit ViewWidget(std::shared_ptr<NSView> view, QWidget *parent = nullptr); ///< [main]
    ~ViewWidget() override;                                                       ///< [main]

    [[nodiscard]] const std::shared_ptr<NSView> &view() const noexcept; ///< [main]
    /// Tells the view that it has come out of an interface file, and makes its focus stops: in the Tab order they come
    /// where the widget does, and focus that it is given goes to the first. Once, or never. [main]
    void awake();
    /// Backs the view with a layer and shows it. [main]
    void backWithLayer();

    [[nodiscard]] QSize sizeHint() const override;        ///< The view's intrinsic size. [main]
    [[nodiscard]] QSize minimumSizeHint() const override; ///< The same. [main]

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
    struct Impl;
    const std::unique_ptr<Impl> impl_;
};

} // namespace kx
