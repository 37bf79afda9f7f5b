#include "Apps/kxplayer/PlayerScreen.h"

#include <gtest/gtest.h>

#include <QPalette>
#include <QWidget>

#include <cmath>

namespace
{

/// How much brighter or darker a colour that stands on a ground is, from 0 to 1.
double contrast(const NSColor &color, const QColor &ground)
{
    const auto difference = [&](double part, double back) { return color.alpha * (part - back); };
    return std::abs(0.3 * difference(color.red, ground.redF()) + 0.59 * difference(color.green, ground.greenF()) +
                    0.11 * difference(color.blue, ground.blueF()));
}

QPalette paletteOf(const QColor &base, const QColor &text)
{
    QPalette palette(base);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::Text, text);
    return palette;
}

TEST(PlayerBar, IsReadableOnALightAndADarkGroundAndFollowsAChange)
{
    const auto screen = std::make_shared<kxplayer::PlayerScreen>();
    QWidget &view = *screen->view();
    const auto bar = screen->playPositionView();
    const QColor white = Qt::white;
    const QColor dark(27, 30, 32);
    for (const QColor &ground : {dark, white, dark}) {
        SCOPED_TRACE(ground.name().toStdString());
        view.setPalette(paletteOf(ground, ground == white ? Qt::black : Qt::white));
        for (const bool enabled : {true, false}) {
            bar->setEnabled(enabled);
            const double needed = enabled ? 0.4 : 0.15; // those out of use need not be so clear
            EXPECT_GE(contrast(bar->barForeLayer()->fillColor().value(), ground), needed);
            EXPECT_GE(contrast(bar->barBackLayer()->strokeColor().value(), ground), needed);
            EXPECT_GE(contrast(bar->playFrameLayer()->fillColor().value(), ground), needed);
            EXPECT_GE(contrast(bar->startFrameLayer()->fillColor().value(), ground), needed);
            EXPECT_GE(contrast(bar->endFrameLayer()->strokeColor().value(), ground), needed);
        }
        bar->setEnabled(true);
        EXPECT_EQ(bar->startFrameLayer()->fillColor(), bar->endFrameLayer()->fillColor());
        EXPECT_EQ(bar->startFrameLayer()->fillColor() == NSColor::colorWithDeviceRed(0.31, 0.37, 0.73, 0.8),
                  ground == white);
    }
}

} // namespace
