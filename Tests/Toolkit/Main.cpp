// A toolkit application without a display, around the tests.
#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("KXFW_AUDIO_BACKEND", "virtual");
    qunsetenv("DBUS_SESSION_BUS_ADDRESS"); // the desktop's own bus is none of the tests'
    const QApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
