#include "Apps/kxplayer/OutputDeviceMenu.h"
#include "Apps/kxplayer/VolumeSlider.h"
#include "Tests/Support/EventCount.h"
#include "Tests/Support/FailingDisk.h"
#include "Tests/kxplayer/PlayerWindow.h"
#include "Tests/kxplayer/PrivateBus.h"

#include <QApplication>
#include <QDropEvent>
#include <QFile>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QSlider>
#include <QUrl>

using kx::test::HeldFile;
using kx::test::make;

namespace
{

using Window = kx::test::PlayerWindow;
using kx::test::kFiveSeconds;

TEST_F(Window, ShowsWhatIsOpenAndFollowsItsEnd)
{
    EXPECT_EQ(window->windowTitle(), "kxplayer");
    EXPECT_FALSE(find<QLineEdit>("playTimeField")->isEnabled());
    open();
    EXPECT_TRUE(window->windowTitle().endsWith(".wav - kxplayer"));
    EXPECT_EQ(find<QLineEdit>("endTimeField")->text(), "220500");
    EXPECT_EQ(find<QLabel>("endTimeText")->text(), "0:05.000");
    EXPECT_TRUE(find<QLineEdit>("playTimeField")->isEnabled());

    screen().setLoop(false);
    screen().moveTo(kFiveSeconds - 4410);
    key(Qt::Key_Space);
    EXPECT_TRUE(screen().isPlaying());
    EXPECT_EQ(find<QPushButton>("playButton")->text(), "Stop");
    advance(UINT32_MAX);
    EXPECT_TRUE(eventually([&] { return find<QPushButton>("playButton")->text() == "Play"; })) << "the data's end";
    EXPECT_TRUE(find<QPushButton>("openButton")->isEnabled());

    key(Qt::Key_Space);
    EXPECT_TRUE(screen().isPlaying());
    EXPECT_LT(player().frameOffset(), kFiveSeconds / 2) << "from the range's start again";
    key(Qt::Key_Space);
    EXPECT_FALSE(screen().isPlaying());
    screen().moveTo(kFiveSeconds / 2);
    screen().setRangeEnd(44100);
    key(Qt::Key_Space);
    EXPECT_GE(player().frameOffset(), kFiveSeconds / 2) << "without loop it goes on beyond the range";

    std::filesystem::path broken = make({.frames = 8}).parent_path() / "broken.mp3";
    QFile(QFile::decodeName(broken.c_str())).open(QIODevice::WriteOnly);
    const auto before = screen().file();
    open(broken);
    EXPECT_TRUE(eventually([&] { return !alerts.empty(); }));
    EXPECT_EQ(alerts, std::vector<std::string>{"Failed to read a file."});
    EXPECT_NE(alertDetails.find("“broken.mp3”"), std::string::npos) << alertDetails;
    EXPECT_EQ(screen().file(), before);
    EXPECT_TRUE(screen().isPlaying()) << "what was open plays on";
    open(44100);
    EXPECT_FALSE(screen().isPlaying());
    EXPECT_EQ(find<QLineEdit>("endTimeField")->text(), "44100");
}

TEST_F(Window, KeysAndFieldsMovePositionAndRange)
{
    open();
    key(Qt::Key_Right);
    key(Qt::Key_Right);
    key(Qt::Key_Left);
    EXPECT_EQ(player().frameOffset(), 44100);
    key(Qt::Key_I);
    EXPECT_EQ(player().startOffsetInFrame(), 44100);
    EXPECT_EQ(find<QLabel>("startTimeText")->text(), "0:01.000");
    key(Qt::Key_Right);
    key(Qt::Key_Right);
    key(Qt::Key_O);
    EXPECT_EQ(player().endOffsetInFrame(), 3 * 44100);
    EXPECT_EQ(screen().playPositionView()->endFrame(), 3 * 44100);
    key(Qt::Key_L);
    EXPECT_FALSE(player().loop());
    EXPECT_FALSE(find<QAbstractButton>("loopButton")->isChecked());

    type("endTimeField", "0:04.5");
    EXPECT_EQ(player().endOffsetInFrame(), 4 * 44100 + 22050);
    type("startTimeField", "nonsense");
    EXPECT_EQ(find<QLineEdit>("startTimeField")->text(), "44100") << "no number changes nothing";
    type("startTimeField", "9999999");
    EXPECT_EQ(player().startOffsetInFrame(), 4 * 44100 + 22050 - 44100) << "the range keeps its least length";
    type("playTimeField", "88200");
    EXPECT_EQ(player().frameOffset(), 88200);

    key(Qt::Key_Home);
    EXPECT_EQ(player().frameOffset(), player().startOffsetInFrame());
}

TEST_F(Window, KeysGoToTheControlThatUsesThem)
{
    open();
    const auto press = [&](QWidget *control, Qt::Key key) {
        while (!control->hasFocus())
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QTest::keyClick(control, key);
    };
    window->activateWindow();
    find<QWidget>("openButton")->setFocus(Qt::ActiveWindowFocusReason);
    for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Space, Qt::Key_Right})
        QTest::keyClick(QApplication::focusWidget(), key);
    EXPECT_EQ(player().frameOffset(), 44100) << "nobody has tabbed to a button or to the bar";
    auto *slider = find<QSlider>("rateSlider");
    press(slider, Qt::Key_Right);
    EXPECT_GT(slider->value(), 0);
    press(slider, Qt::Key_Home);
    EXPECT_EQ(slider->value(), slider->minimum());
    for (QWidget *part : screen().view()->findChildren<QWidget *>())
        if (part->accessibleName() == "Loop end") {
            EXPECT_TRUE(eventually([&] { return part->isEnabled(); })) << "with the bar's next picture";
            press(part, Qt::Key_Left);
        }
    EXPECT_LT(player().endOffsetInFrame(), kFiveSeconds) << "a part of the bar";
    auto *loop = find<QAbstractButton>("loopButton");
    press(loop, Qt::Key_Space);
    EXPECT_FALSE(player().loop() || screen().isPlaying());
    QTest::mouseClick(loop, Qt::LeftButton, {}, {8, loop->height() / 2});
    EXPECT_TRUE(player().loop());
    EXPECT_TRUE(loop->hasFocus());
    QTest::keyClick(loop, Qt::Key_Space);
    EXPECT_TRUE(player().loop() && screen().isPlaying()) << "a clicked button leaves Space to the window";

    auto *field = find<QLineEdit>("endTimeField");
    const QString before = field->text();
    field->setFocus();
    field->selectAll();
    QTest::keyClicks(field, "9 iol");
    EXPECT_EQ(field->text(), "9 iol") << "letters go into a field";
    QTest::keyClick(field, Qt::Key_Escape);
    EXPECT_EQ(field->text(), before);
    EXPECT_FALSE(field->hasFocus());
    field->setFocus();
    type("endTimeField", "100000");
    EXPECT_EQ(player().endOffsetInFrame(), 100000);
    EXPECT_FALSE(field->hasFocus());
}

TEST_F(Window, SlidersWorkTheEffectAndGoBackOnADoubleClick)
{
    open();
    auto *rate = find<QSlider>("rateSlider");
    auto *pitch = find<QSlider>("pitchSlider");
    rate->triggerAction(QAbstractSlider::SliderToMinimum);
    pitch->triggerAction(QAbstractSlider::SliderToMaximum);
    EXPECT_EQ(find<QLabel>("rateValueLabel")->text(), "× 0.25");
    EXPECT_EQ(find<QLabel>("pitchValueLabel")->text(), "2400 cents");
    QTest::mouseDClick(rate, Qt::LeftButton);
    QTest::mouseDClick(pitch, Qt::LeftButton);
    EXPECT_EQ(screen().pitch()->rate(), 1.0F);
    EXPECT_EQ(screen().pitch()->pitch(), 0.0F);
}

TEST_F(Window, VolumeSurvivesTheDevicesThatComeAndGo)
{
    open();
    screen().setGain(0.5);
    EXPECT_NEAR(double(player().volume()), 0.5, 0.01);
    auto *menu = window->findChild<kxplayer::OutputDeviceMenu *>();
    const auto plugSpeaker = [&] {
        hardware->setDevices({{"Virtual Output"}, {"Speaker"}});
        ASSERT_TRUE(eventually([&] { return menu->actions().last()->text().startsWith("Speaker"); }));
    };
    plugSpeaker();
    const AudioObjectID before = player().outputDeviceID();
    key(Qt::Key_Space);
    menu->actions().last()->trigger();
    EXPECT_NE(player().outputDeviceID(), before);
    EXPECT_FALSE(player().followsDefaultOutput());
    EXPECT_TRUE(screen().isPlaying()) << "it plays on";
    EXPECT_NEAR(double(player().volume()), 0.5, 0.01);
    hardware->setDevices({{"Virtual Output"}});
    EXPECT_TRUE(eventually(
        [&] { return player().outputDeviceID() != kAudioObjectUnknown && player().followsDefaultOutput(); }));
    EXPECT_NEAR(double(player().volume()), 0.5, 0.01);
    EXPECT_TRUE(find<QLabel>("noticeLabel")->isVisible()) << "nothing but virtual devices";

    plugSpeaker();
    screen().setPlaying(true);
    hardware->setDevices({{"Virtual Output"}}); // the menu hears of it later
    menu->actions().last()->trigger();
    EXPECT_TRUE(screen().isPlaying() && player().followsDefaultOutput());
    EXPECT_EQ(player().outputDeviceID(), KXAHardwareManager::defaultOutputDeviceID());
    EXPECT_TRUE(menu->actions().first()->isChecked());
    EXPECT_TRUE(eventually([&] { return !alerts.empty(); }));
    EXPECT_EQ(alerts, std::vector<std::string>{"The output device cannot be used."});
}

TEST_F(Window, OpensWhatIsDroppedAndRefusesTheRest)
{
    const auto file = make({.frames = kFiveSeconds});
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(QFile::decodeName(file.c_str()))});
    QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &files, Qt::LeftButton, {});
    QCoreApplication::sendEvent(window.get(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(5, 5), Qt::CopyAction, &files, Qt::LeftButton, {});
    QCoreApplication::sendEvent(window.get(), &drop);
    EXPECT_TRUE(eventually([&] { return screen().file() == file; }));

    window->openArgument("http://example.org/a.mp3");
    EXPECT_TRUE(eventually([&] { return !alerts.empty(); }));
    EXPECT_NE(alerts.back().find("http://example.org/a.mp3"), std::string::npos);
    EXPECT_EQ(screen().file(), file) << "what is open stays";
}

TEST_F(Window, OpensASlowFileWhileTheOldOnePlaysUntilItIsThereOrLeft)
{
    const auto slow = make({.frames = 30000});
    auto *cancel = find<QPushButton>("cancelOpeningButton");
    open();
    const auto old = screen().file();
    key(Qt::Key_Space);
    {
        const HeldFile held(slow);
        const std::function<void()> leave[] = {[&] { key(Qt::Key_Escape); }, [&] { cancel->click(); },
                                               [&] { screen().clickExportButton({}); }};
        for (const auto &run : leave) {
            window->openFile(slow);
            EXPECT_FALSE(cancel->isVisible());
            EXPECT_TRUE(eventually([&] { return cancel->isVisible() && HeldFile::waiting() > 0; }));
            EXPECT_TRUE(find<QLabel>("openingLabel")->text().startsWith("Opening "));
            run();
            EXPECT_FALSE(cancel->isVisible() || screen().isOpening());
        }
        window->openFile(slow);
        open(44100);
        EXPECT_EQ(screen().numFrames(), 44100) << "another file takes its place";
        open(old);
        screen().setPlaying(true);
        const int before = HeldFile::waiting();
        window->openFile(slow);
        EXPECT_TRUE(eventually([&] { return HeldFile::waiting() > before; }));
        advance(44100);
        EXPECT_TRUE(screen().isPlaying() && screen().file() == old);
    }
    EXPECT_TRUE(eventually([&] { return screen().file() == slow; }));
    EXPECT_FALSE(screen().isPlaying() || cancel->isVisible());
    const HeldFile held(slow);
    window->openFile(slow);
    window = nullptr; // in the middle of it
    EXPECT_EQ(alerts.size(), 0U);
}

/// The play line stays where the user has put it until that is heard, and never runs back meanwhile.
TEST_F(Window, PlayLineWaitsForAJumpToBeHeard)
{
    open();
    key(Qt::Key_Space);
    advance(22050);
    screen().moveTo(3 * 44100);
    EXPECT_TRUE(kx::test::EventCount(*qApp, QEvent::Timer).await(10)); // the screen looks at the player meanwhile
    EXPECT_EQ(screen().shownFrame(), 3 * 44100);
    advance(8820);
    EXPECT_TRUE(eventually([&] { return screen().shownFrame() > 3 * 44100; }));
}

TEST_F(Window, SpeaksOnTheSessionBus)
{
    kx::test::PrivateBus bus;
    kxplayer::MediaControl media(
        screen(), *window, [this](const auto &file) { window->openFile(file); }, bus.connection());
    open();
    media.play();
    EXPECT_TRUE(screen().isPlaying());
    media.setPositionInFrame(88200);
    EXPECT_EQ(media.positionInFrame(), 88200);
    media.stop();
    EXPECT_FALSE(screen().isPlaying());
    EXPECT_EQ(player().frameOffset(), 0);

    std::vector<int64_t> jumps;
    screen().jumped = [&](int64_t frame) { jumps.push_back(frame); };
    screen().setRangeStart(44100);
    screen().setRangeEnd(2 * 44100);
    media.setPositionInFrame(4 * 44100);
    EXPECT_EQ(jumps, std::vector<int64_t>{44100}) << "out of the loop's range it goes to its start";
    media.play();
    EXPECT_TRUE(eventually([&] {
        advance(2048);
        return jumps.size() > 1;
    }));
    EXPECT_LT(jumps.back(), 2 * 44100 - 22050) << "the loop's end is a jump";
}

TEST_F(Window, RemembersWhatWasOpenedBesideItsOwnWays)
{
    const auto file = kx::test::fileOf("[*]&.wav", kx::test::readBytes(make({.frames = 3000})));
    screen()._openFileAtURL(file); // as after the open panel
    EXPECT_TRUE(eventually([&] { return screen().isLoaded(); }));
    EXPECT_EQ(QSettings().value("recentFiles").toStringList().value(0), QString::fromLatin1(kxplayer::uriOfPath(file)));
    EXPECT_TRUE(window->windowTitle().endsWith("[*][*]&.wav - kxplayer")) << window->windowTitle().toStdString();
}

} // namespace
