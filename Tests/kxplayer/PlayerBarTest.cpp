#include "Apps/kxplayer/PlayerScreen.h"

#include <gtest/gtest.h>

#include <QPalette>
#include <QWidget>

#include <cmath>
#include <optional>

namespace
{

/// How much brighter or darker a colour that stands on a ground is, from 0 to 1.
double contrast(const std::optional<NSColor> &color, const QColor &ground)
{
    const double difference = 0.3 * (color->red - ground.redF()) + 0.59 * (color->green - ground.greenF()) +
                              0.11 * (color->blue - ground.blueF());
    return std::abs(color->alpha * difference);
}

TEST(PlayerBar, IsReadableOnALightAndADarkGroundAndFollowsAChange)
{
    const auto screen = std::make_shared<kxplayer::PlayerScreen>();
    QWidget &view = *screen->view();
    const auto bar = screen->playPositionView();
    const QColor white = Qt::white;
    const QColor dark(27, 30, 32);
    for (const QColor &ground : {dark, white, dark}) {
        QPalette palette(ground);
        palette.setColor(QPalette::Base, ground);
        palette.setColor(QPalette::Text, ground == white ? Qt::black : Qt::white);
        view.setPalette(palette);
        for (const bool enabled : {true, false, true}) {
            bar->setEnabled(enabled);
            for (const auto &color : {bar->barForeLayer()->fillColor(), bar->barBackLayer()->strokeColor(),
                                      bar->playFrameLayer()->fillColor(), bar->startFrameLayer()->fillColor(),
                                      bar->endFrameLayer()->strokeColor()})
                EXPECT_GE(contrast(color, ground), enabled ? 0.4 : 0.15)
                    << ground.name().toStdString(); // out of use it need not be so clear
        }
        EXPECT_EQ(bar->startFrameLayer()->fillColor(), bar->endFrameLayer()->fillColor());
        EXPECT_EQ(bar->startFrameLayer()->fillColor() == NSColor::colorWithDeviceRed(0.31, 0.37, 0.73, 0.8),
                  ground == white);
    }
}

} // namespace
