// What the bar looks like, at chosen pixels of pictures at three scales. KX_PICTURES names a folder to keep them in.
#include "Tests/Toolkit/ToolkitTesting.h"
#include "Tests/UI/HostedBar.h"

#include <QColor>
#include <QDir>
#include <QImage>

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

bool alike(const QColor &a, const QColor &b)
{
    return std::abs(a.red() - b.red()) <= 2 && std::abs(a.green() - b.green()) <= 2 &&
           std::abs(a.blue() - b.blue()) <= 2;
}

struct Look {
    const char *name;
    bool enabled;
    QColor range, line, knob;
};

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

    QImage picture(const std::string &name) const
    {
        const QImage image = kx::test::picture(*bar.widget, GetParam());
        if (const char *folder = std::getenv("KX_PICTURES"))
            image.save(QDir(folder).filePath(QString("bar-%1-%2.png").arg(name.c_str()).arg(GetParam())));
        return image;
    }

    bar::Hosted bar;
};

TEST_P(BarPictures, ShowRangeKnobsAndLineInTheStatesColours)
{
    const std::vector<Look> looks{
        {"enabled", true, overWhite(0.31, 0.37, 0.73, 0.8), Qt::black, overWhite(0.31, 0.37, 0.73, 0.8)},
        {"disabled", false, overWhite(0.31, 0.37, 0.73, 0.3), overWhite(0, 0, 0, 0.3), overWhite(0.6, 0.6, 0.9, 0.8)}};
    for (const Look &look : looks) {
        SCOPED_TRACE(look.name);
        bar.view->setEnabled(look.enabled);
        const QImage image = picture(look.name);
        const auto expect = [&](double x, double y, const QColor &color, const char *what) {
            const QColor shown = image.pixelColor(int(x * GetParam()), int((40 - y) * GetParam()));
            EXPECT_TRUE(alike(shown, color))
                << what << ": " << shown.name().toStdString() << ", not " << color.name().toStdString();
        };
        expect(130, 20, look.range, "the range");
        expect(207.5, 20, look.range, "the range, up to its end");
        expect(300, 20, Qt::white, "the bar outside the range");
        expect(47, 20, Qt::white, "the bar before the range");
        expect(47.5, 11.5, look.knob, "the start knob, its upright side right");
        expect(42, 14.5, Qt::white, "above the start knob's slope");
        expect(212.5, 11.5, look.knob, "the end knob, its upright side left");
        expect(218, 14.5, Qt::white, "above the end knob's slope");
        expect(130, 30, Qt::white, "above the bar");
        expect(130, 8, Qt::white, "below the bar");
        // The play line is a point wide and more with its outline, from the bar's bottom to 4 above it.
        const QColor line = image.pixelColor(int(110.25 * GetParam()), int((40 - 26) * GetParam()));
        EXPECT_LE(line.lightness(), look.line.lightness() + 3) << "the line above the bar";
        expect(110.25, 30, Qt::white, "above the line");
    }
}

TEST_P(BarPictures, PressedKnobShowsItsOutlineOnly)
{
    bar.view->startFrameLayer()->mouseDown(NSEvent({45, 12}));
    const QImage image = picture("pressed");
    EXPECT_TRUE(alike(image.pixelColor(int(46.5 * GetParam()), int((40 - 9.5) * GetParam())), Qt::white));
    bar.view->startFrameLayer()->mouseUp(NSEvent({45, 12}));
    const QImage released = picture("released");
    EXPECT_FALSE(alike(released.pixelColor(int(46.5 * GetParam()), int((40 - 9.5) * GetParam())), Qt::white));
}

/// Widths with no room for a bar, files of no length, ranges inside out: drawn, and nothing else is painted over.
TEST_P(BarPictures, SurviveAnyWidthAndLength)
{
    for (const int width : {1, 10, 20, 21, 420}) {
        for (const int64_t frames : {int64_t{0}, int64_t{1}, int64_t{441000}, INT64_MAX}) {
            bar.widget->resize(width, 40);
            bar.view->setNumFrames(frames);
            bar.view->setStartFrame(frames);
            bar.view->setEndFrame(0);
            const QImage image = picture("odd");
            EXPECT_TRUE(alike(image.pixelColor(0, 0), Qt::white)) << width << ", " << frames;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Scales, BarPictures, testing::Values(1.0, 1.5, 2.0));

} // namespace
