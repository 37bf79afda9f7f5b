#include "Apps/kxplayer/Decibels.h"
#include "Apps/kxplayer/VolumeSlider.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <QSlider>
#include <QTest>

#include <cmath>
#include <limits>

using namespace kxplayer;

namespace
{

TEST(Decibels, GoFromPositionsToGainsAndBack)
{
    for (int position = 0; position <= kLoudestPosition; ++position)
        EXPECT_EQ(positionOfDecibels(decibelsOfGain(gainOfDecibels(decibelsOfPosition(position)))), position);
    for (const double gain : {0.0, -1.0, 1e-9, std::nan(""), -std::numeric_limits<double>::infinity()})
        EXPECT_EQ(positionOfDecibels(decibelsOfGain(gain)), 0) << gain;
    for (const double gain : {1.0, 2.0, 1e30, std::numeric_limits<double>::infinity()})
        EXPECT_EQ(positionOfDecibels(decibelsOfGain(gain)), kLoudestPosition) << gain;
    EXPECT_EQ(decibelText(-0.01), "0.0 dB");
}

TEST(VolumeSlider, ShowsDecibelsAndGoesBackWithADoubleClick)
{
    VolumeSlider volume;
    volume.resize(300, 40);
    volume.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&volume));
    std::vector<double> told;
    QObject::connect(&volume, &VolumeSlider::gainChanged, [&](double gain) { told.push_back(gain); });
    auto *const slider = volume.findChild<QSlider *>();
    const auto *const label = volume.findChild<QLabel *>();
    volume.setGain(0.5);
    EXPECT_EQ(label->text(), "-6.0 dB");
    volume.setGain(0.5);
    QTest::keyClick(slider, Qt::Key_Home);
    EXPECT_EQ(label->text(), QStringLiteral("-∞ dB"));
    QTest::keyClick(slider, Qt::Key_Right);
    EXPECT_EQ(label->text(), "-59.0 dB");
    QTest::mouseDClick(slider, Qt::LeftButton);
    EXPECT_EQ(label->text(), "0.0 dB");
    ASSERT_EQ(told.size(), 4U);
    EXPECT_NEAR(told[0], 0.501187, 1e-6);
    EXPECT_EQ(told[1], 0);
    EXPECT_EQ(volume.gain(), 1);
}

} // namespace
