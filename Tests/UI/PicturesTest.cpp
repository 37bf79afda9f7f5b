// What the views look like: the bar at chosen pixels of pictures at three scales, the outlines of what is drawn anew.
#include "KXFW/Platform/Toolkit/ViewClasses.h"
#include "Tests/Toolkit/ToolkitTesting.h"
#include "Tests/UI/BarTesting.h"

#include <QPainter>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

namespace
{

/// A colour over white.
QColor overWhite(double red, double green, double blue, double alpha)
{
    const auto mixed = [&](double part) { return int(std::lround(255 * (part * alpha + 1 - alpha))); };
    return {mixed(red), mixed(green), mixed(blue)};
}

TEST(BarPictures, ShowRangeKnobsAndLineInTheStatesColours)
{
    bar::Hosted bar;
    const std::unique_ptr<QWidget> owner(bar.widget);
    bar.widget->setPalette(Qt::white);
    double scale = 1;
    const auto at = [&](double x, double y) { // y upward
        return kx::test::picture(*bar.widget, scale).pixelColor(int(x * scale), int((40 - y) * scale));
    };
    const auto expect = [&](double x, double y, const QColor &color, const char *what) {
        const QColor shown = at(x, y);
        EXPECT_LE(std::abs(shown.red() - color.red()) + std::abs(shown.blue() - color.blue()), 4)
            << what << " at scale " << scale << ": " << shown.name().toStdString();
    };
    for (const auto &[view, widget, factor] :
         {std::tuple(true, true, 1.0), {false, true, 1.5}, {true, false, 2.0}, {true, true, 1.5}}) {
        scale = factor;
        bar.view->setEnabled(view);
        bar.widget->setEnabled(widget);
        const bool enabled = view && widget;
        const QColor range = overWhite(0.31, 0.37, 0.73, enabled ? 0.8 : 0.3);
        const QColor knob = enabled ? range : overWhite(0.6, 0.6, 0.9, 0.8);
        expect(130, 20, range, "the range");
        expect(207.5, 20, range, "the range, up to its end");
        expect(300, 20, Qt::white, "the bar outside the range");
        expect(47.5, 11.5, knob, "the start knob, its upright side right");
        expect(42, 14.5, Qt::white, "above the start knob's slope");
        expect(212.5, 11.5, knob, "the end knob, its upright side left");
        expect(218, 14.5, Qt::white, "above the end knob's slope");
        expect(130, 30, Qt::white, "above the bar");
        // The play line is a point wide and more with its outline, from the bar's bottom to 4 above it.
        EXPECT_LE(at(110.25, 26).lightness(), overWhite(0, 0, 0, enabled ? 1 : 0.3).lightness() + 3);
        expect(110.25, 30, Qt::white, "above the line");
    }
    bar.view->startFrameLayer()->mouseDown(NSEvent({45, 12}));
    expect(46.5, 9.5, Qt::white, "a pressed knob, which shows its outline only");
    bar.view->startFrameLayer()->mouseUp(NSEvent({45, 12}));
    expect(46.5, 9.5, overWhite(0.31, 0.37, 0.73, 0.8), "released");
}

TEST(KXMonochromeView, OutlinesWhatIsDrawnAnew)
{
    kx::ViewWidget widget(kx::ViewClasses::make("KXMonochromeView"));
    widget.resize(100, 50);
    QImage image(widget.size(), QImage::Format_RGB32);
    image.fill(Qt::white);
    QImage expected = image;
    const QRect part(10, 5, 30, 20);
    QPainter painter(&expected);
    painter.setPen(Qt::blue);
    painter.drawRect(part.adjusted(0, 0, -1, -1));
    widget.render(&image, part.topLeft(), part, QWidget::DrawChildren);
    EXPECT_TRUE(image == expected);
}

} // namespace
