// The view that outlines what is drawn, seen pixel by pixel.
#include "KXFW/Platform/Toolkit/ViewClasses.h"
#include "KXFW/Platform/Toolkit/ViewWidget.h"

#include <QImage>
#include <QPainter>

#include <gtest/gtest.h>

namespace
{

/// Whether the picture is blue exactly along the inside of `frame`, 1 pixel wide, and white elsewhere.
testing::AssertionResult outlines(const QImage &image, const QRect &frame)
{
    const QRect inside = frame.adjusted(1, 1, -1, -1);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const bool blue = frame.contains(x, y) && !inside.contains(x, y);
            if (image.pixelColor(x, y) != (blue ? QColor(0, 0, 255) : QColor(Qt::white)))
                return testing::AssertionFailure()
                       << x << "," << y << " is " << image.pixelColor(x, y).name().toStdString();
        }
    return testing::AssertionSuccess();
}

} // namespace

TEST(KXMonochromeView, OutlinesWhatIsDrawnAnew)
{
    const auto view = kx::ViewClasses::make("KXMonochromeView");
    ASSERT_TRUE(view);
    kx::ViewWidget widget(view);
    widget.resize(100, 50);
    QImage image(widget.size(), QImage::Format_RGB32);
    for (const QRect &part : {QRect(0, 0, 100, 50), QRect(10, 5, 30, 20)}) {
        image.fill(Qt::white);
        widget.render(&image, part.topLeft(), part, QWidget::DrawChildren);
        EXPECT_TRUE(outlines(image, part));
    }
}
