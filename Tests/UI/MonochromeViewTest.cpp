// The view that outlines what is drawn, seen pixel by pixel.
#include "KXFW/Platform/Toolkit/ViewClasses.h"
#include "KXFW/Platform/Toolkit/ViewWidget.h"

#include <QImage>
#include <QPainter>

#include <gtest/gtest.h>

TEST(KXMonochromeView, OutlinesWhatIsDrawnAnew)
{
    kx::ViewWidget widget(kx::ViewClasses::make("KXMonochromeView"));
    widget.resize(100, 50);
    for (const QRect &part : {QRect(0, 0, 100, 50), QRect(10, 5, 30, 20)}) {
        QImage image(widget.size(), QImage::Format_RGB32);
        image.fill(Qt::white);
        QImage expected = image;
        QPainter painter(&expected);
        painter.fillRect(part, Qt::blue);
        painter.fillRect(part.adjusted(1, 1, -1, -1), Qt::white);
        widget.render(&image, part.topLeft(), part, QWidget::DrawChildren);
        EXPECT_TRUE(image == expected);
    }
}
