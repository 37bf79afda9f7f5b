// What the bar looks like, at chosen pixels of pictures at three scales.
#include "Tests/Toolkit/ToolkitTesting.h"
#include "Tests/UI/BarTesting.h"

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

class BarPictures : public testing::TestWithParam<double>
{
protected:
    BarPictures()
    {
        QPalette white;
        white.setColor(QPalette::Window, Qt::white);
        bar.widget->setPalette(white);
    }
    ~BarPictures() override { delete bar.widget; }

    /// What is shown at a point, y upward.
    QColor at(double x, double y) const
    {
        const double scale = GetParam();
        return kx::test::picture(*bar.widget, scale).pixelColor(int(x * scale), int((40 - y) * scale));
    }
    void expect(double x, double y, const QColor &color, const char *what) const
    {
        const QColor shown = at(x, y);
        const int most = std::max({std::abs(shown.red() - color.red()), std::abs(shown.green() - color.green()),
                                   std::abs(shown.blue() - color.blue())});
        EXPECT_LE(most, 2) << what << ": " << shown.name().toStdString() << ", not " << color.name().toStdString();
    }

    bar::Hosted bar;
};

TEST_P(BarPictures, ShowRangeKnobsAndLineInTheStatesColours)
{
    for (const auto &[view, widget] : {std::pair(true, true), {false, true}, {true, false}, {true, true}}) {
        SCOPED_TRACE(testing::Message() << "view " << view << ", widget " << widget);
        bar.view->setEnabled(view);
        bar.widget->setEnabled(widget);
        const bool enabled = view && widget;
        const QColor range = overWhite(0.31, 0.37, 0.73, enabled ? 0.8 : 0.3);
        const QColor knob = enabled ? range : overWhite(0.6, 0.6, 0.9, 0.8);
        expect(130, 20, range, "the range");
        expect(207.5, 20, range, "the range, up to its end");
        expect(300, 20, Qt::white, "the bar outside the range");
        expect(47, 20, Qt::white, "the bar before the range");
        expect(47.5, 11.5, knob, "the start knob, its upright side right");
        expect(42, 14.5, Qt::white, "above the start knob's slope");
        expect(212.5, 11.5, knob, "the end knob, its upright side left");
        expect(218, 14.5, Qt::white, "above the end knob's slope");
        expect(130, 30, Qt::white, "above the bar");
        expect(130, 8, Qt::white, "below the bar");
        // The play line is a point wide and more with its outline, from the bar's bottom to 4 above it.
        EXPECT_LE(at(110.25, 26).lightness(), overWhite(0, 0, 0, enabled ? 1 : 0.3).lightness() + 3);
        expect(110.25, 30, Qt::white, "above the line");
    }
}

TEST_P(BarPictures, PressedKnobShowsItsOutlineOnly)
{
    bar.view->startFrameLayer()->mouseDown(NSEvent({45, 12}));
    expect(46.5, 9.5, Qt::white, "pressed");
    bar.view->startFrameLayer()->mouseUp(NSEvent({45, 12}));
    expect(46.5, 9.5, overWhite(0.31, 0.37, 0.73, 0.8), "released");
}

INSTANTIATE_TEST_SUITE_P(Scales, BarPictures, testing::Values(1.0, 1.5, 2.0));

} // namespace
