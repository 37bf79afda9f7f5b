#include "Apps/kxplayer/PlayerScreen.h"

#include <gtest/gtest.h>

#include <QPalette>
#include <QWidget>

#include <algorithm>
#include <cmath>

namespace
{

/// Of 1 for white and 0 for black (WCAG 2.1, relative luminance).
double luminance(const QColor &color)
{
    const auto linear = [](double part) {
        return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

/// The contrast of a colour that stands on a ground, from 1 to 21 (WCAG 2.1).
double contrast(const NSColor &color, const QColor &ground)
{
    const auto mixed = [&](double part, double back) { return float(part * color.alpha + back * (1 - color.alpha)); };
    const double a = luminance(QColor::fromRgbF(mixed(color.red, ground.redF()), mixed(color.green, ground.greenF()),
                                                mixed(color.blue, ground.blueF())));
    const double b = luminance(ground);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
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
            // 3 is what parts of controls need; those out of use need not be so clear.
            const double needed = enabled ? 3 : 1.5;
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
