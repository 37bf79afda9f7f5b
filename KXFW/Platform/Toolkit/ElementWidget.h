#pragma once

#include "KXFW/Platform/Toolkit/SliderElement.h"

#include <QWidget>

#include <memory>

namespace kx
{

/// The focus stop of a slider element: it lies over the element, lets the mouse through, moves it by keys, shows the
/// focus as a frame, and is a slider with a spoken value to screen readers. Main thread only.
class ElementWidget : public QWidget
{
public:
    ElementWidget(std::shared_ptr<SliderElement> element, QWidget *view);

    [[nodiscard]] SliderElement &element() const noexcept { return *element_; } ///< [main]
    /// Follows the element's place, state and value. [main]
    void refresh();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    std::shared_ptr<SliderElement> element_;
    int64_t lastValue_ = 0;
};

} // namespace kx
