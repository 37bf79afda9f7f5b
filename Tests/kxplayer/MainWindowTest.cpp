#include "Apps/kxplayer/OutputDeviceMenu.h"
#include "Apps/kxplayer/WaveformWidget.h"
#include "Tests/Support/EventCount.h"
#include "Tests/Support/FailingDisk.h"
#include "Tests/kxplayer/PlayerWindow.h"
#include "Tests/kxplayer/PrivateBus.h"

#include <QDropEvent>
#include <QMenuBar>
#include <QMimeData>
#include <QSlider>
#include <QUrl>

using kx::test::HeldFile;
using kx::test::kFiveSeconds;
using kx::test::make;

namespace
{

using Window = kx::test::PlayerWindow;

TEST_F(Window, ShowsWhatIsOpenAndFollowsItsEnd)
{
    EXPECT_EQ(window->windowTitle(), "kxplayer");
    EXPECT_EQ(shown(), "[Open] (Play) (Export) ; fields 0(disabled) 0(disabled) 0(disabled) of 44100; disabled bar 0 "
                       "44100 0; player 0 0 0 loops");
    open();
    const std::string name = screen().file().filename().string();
    EXPECT_EQ(window->windowTitle().toStdString(), name + " - kxplayer");
    EXPECT_EQ(shown(), "[Open] [Play] [Export] " + name +
                           "; fields 0 220500 0 of 220500; bar 0 220500 0; player 0 220500 0 loops");
    EXPECT_EQ(text("endTimeText"), "0:05.000");

    screen().setLoop(false);
    screen().moveTo(kFiveSeconds - 4410);
    key(Qt::Key_Space);
    EXPECT_EQ(text("playButton"), "Stop");
    EXPECT_FALSE(window->menuBar()->actions()[0]->menu()->actions()[0]->isEnabled());
    advance(UINT32_MAX);
    EXPECT_TRUE(eventually([&] { return text("playButton") == "Play"; })) << "the data's end";
    key(Qt::Key_Space);
    EXPECT_TRUE(screen().isPlaying());
    EXPECT_LT(player().frameOffset(), kFiveSeconds / 2) << "from the range's start again";
    key(Qt::Key_Space);
    screen().moveTo(kFiveSeconds / 2);
    screen().setRangeEnd(44100);
    key(Qt::Key_Space);
    EXPECT_GE(player().frameOffset(), kFiveSeconds / 2) << "without loop it goes on beyond the range";

    const auto before = screen().file();
    open(kx::test::fileOf("broken.mp3", {}));
    EXPECT_EQ(told("Failed to read a file.: “"), 1);
    EXPECT_TRUE(screen().file() == before && screen().isPlaying()) << "what was open plays on";
    open(44100);
    EXPECT_EQ(shown(), "[Open] [Play] [Export] " + screen().file().filename().string() +
                           "; fields 0 44100 0 of 44100; bar 0 44100 0; player 0 44100 0");
}

TEST_F(Window, KeysAndFieldsMovePositionAndRange)
{
    open();
    for (const Qt::Key each :
         {Qt::Key_Right, Qt::Key_Right, Qt::Key_Left, Qt::Key_I, Qt::Key_Right, Qt::Key_Right, Qt::Key_O, Qt::Key_L})
        key(each);
    const std::string file = "[Open] [Play] [Export] " + screen().file().filename().string();
    EXPECT_EQ(shown(),
              file + "; fields 44100 132300 132300 of 220500; bar 44100 132300 132300; player 44100 132300 132300");
    EXPECT_EQ(text("startTimeText"), "0:01.000");
    auto &waveform = *find<kxplayer::WaveformWidget>("");
    const QImage image = kx::test::picture(waveform, 1);
    EXPECT_NE(image.pixel(waveform.width() / 2 - 5, 2), image.pixel(waveform.width() * 3 / 4, 2)) << "the range";

    type("endTimeField", "0:04.5");
    type("startTimeField", "nonsense"); // no number changes nothing
    type("playTimeField", "88200");
    EXPECT_EQ(shown(),
              file + "; fields 44100 198450 88200 of 220500; bar 44100 198450 88200; player 44100 198450 88200");
    type("startTimeField", "9999999"); // the range keeps its least length
    key(Qt::Key_Home);
    EXPECT_EQ(shown(),
              file + "; fields 154350 198450 154350 of 220500; bar 154350 198450 154350; player 154350 198450 154350");

    key(Qt::Key_Space);
    auto *field = find<QLineEdit>("playTimeField");
    field->setFocus();
    field->selectAll();
    QTest::keyClicks(field, "88");
    advance(8820);
    EXPECT_TRUE(kx::test::EventCount(*qApp, QEvent::Timer).await(10)); // the screen looks at the player meanwhile
    EXPECT_EQ(field->text(), "88") << "what is being typed stays";
    QTest::keyClick(field, Qt::Key_Escape);
    EXPECT_EQ(field->text().toLongLong(), player().heardFrame().frame);
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
    slider->setFocus();
    QTest::keyClick(slider, Qt::Key_Right);
    EXPECT_GT(slider->value(), 0) << "a slider, however one came to it";
    for (QWidget *part : screen().view()->findChildren<QWidget *>())
        if (part->accessibleName() == "Loop start") {
            EXPECT_TRUE(eventually([&] { return part->isEnabled(); })) << "with the bar's next picture";
            press(part, Qt::Key_Right);
        }
    EXPECT_EQ(text("startTimeText"), "0:00.100") << "a part of the bar";
    auto *loop = find<QAbstractButton>("loopButton");
    press(loop, Qt::Key_Space);
    EXPECT_FALSE(player().loop() || screen().isPlaying());
    QTest::mouseClick(loop, Qt::LeftButton, {}, {8, loop->height() / 2});
    QTest::keyClick(loop, Qt::Key_Space);
    EXPECT_TRUE(player().loop() && screen().isPlaying()) << "a clicked button leaves Space to the window";

    auto *field = find<QLineEdit>("endTimeField");
    const QString before = field->text();
    field->setFocus();
    field->selectAll();
    QTest::keyClicks(field, "9 iol");
    EXPECT_EQ(field->text(), "9 iol") << "letters go into a field";
    field->selectAll();
    QTest::keyClicks(field, "9");
    QTest::keyClick(field, Qt::Key_Escape);
    EXPECT_TRUE(field->text() == before && !field->hasFocus());
    field->setFocus();
    type("endTimeField", "100000");
    EXPECT_FALSE(field->hasFocus());
}

TEST_F(Window, SlidersWorkTheEffectAndGoBackOnADoubleClick)
{
    open();
    auto *rate = find<QSlider>("rateSlider");
    auto *pitch = find<QSlider>("pitchSlider");
    rate->triggerAction(QAbstractSlider::SliderToMinimum);
    pitch->triggerAction(QAbstractSlider::SliderToMaximum);
    EXPECT_EQ(text("rateValueLabel") + ", " + text("pitchValueLabel"), "× 0.25, 2400 cents");
    QTest::mouseDClick(rate, Qt::LeftButton);
    QTest::mouseDClick(pitch, Qt::LeftButton);
    EXPECT_TRUE(screen().pitch()->rate() == 1 && screen().pitch()->pitch() == 0);
    screen().setRate(2);
    EXPECT_EQ(screen().pitch()->rate(), 2);
}

TEST_F(Window, VolumeSurvivesTheDevicesThatComeAndGo)
{
    open();
    screen().setGain(0.5);
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
    hardware->setDevices({{"Virtual Output"}});
    EXPECT_TRUE(eventually(
        [&] { return player().outputDeviceID() != kAudioObjectUnknown && player().followsDefaultOutput(); }));
    EXPECT_NEAR(double(player().volume()), 0.5, 0.01);
    EXPECT_TRUE(find<QWidget>("noticeLabel")->isVisible()) << "nothing but virtual devices";

    plugSpeaker();
    screen().setPlaying(true);
    hardware->setDevices({{"Virtual Output"}}); // the menu hears of it later
    menu->actions().last()->trigger();
    EXPECT_TRUE(screen().isPlaying() && player().followsDefaultOutput());
    EXPECT_EQ(player().outputDeviceID(), KXAHardwareManager::defaultOutputDeviceID());
    EXPECT_TRUE(menu->actions().first()->isChecked());
    EXPECT_EQ(told("The output device cannot be used."), 1);
}

TEST_F(Window, OpensWhatIsDroppedRefusesTheRestAndRemembers)
{
    const auto file = kx::test::fileOf("[*]&.wav", kx::test::readBytes(make({.frames = 3000})));
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(QString::fromStdString(file.string()))});
    QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &files, Qt::LeftButton, {});
    QCoreApplication::sendEvent(window.get(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(5, 5), Qt::CopyAction, &files, Qt::LeftButton, {});
    QCoreApplication::sendEvent(window.get(), &drop);
    EXPECT_TRUE(eventually([&] { return screen().file() == file; }));
    EXPECT_TRUE(window->windowTitle().endsWith("[*][*]&.wav - kxplayer")) << window->windowTitle().toStdString();
    EXPECT_EQ(QSettings().value("recentFiles").toStringList().value(0), QString::fromLatin1(kxplayer::uriOfPath(file)));
    window->openArgument("http://example.org/a.mp3");
    EXPECT_EQ(told("“http://example.org/a.mp3” cannot be opened"), 1);
    EXPECT_EQ(screen().file(), file) << "what is open stays";
    const auto &offered = screen()._allowedExtensions();
    EXPECT_NE(std::ranges::find(offered, "flac"), offered.end()) << "in the open panel";
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
            EXPECT_TRUE(text("openingLabel").startsWith("Opening "));
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
    EXPECT_TRUE(alerts.shown.empty());
}

TEST_F(Window, TellsJumpsAndFollowsWhatIsHeard)
{
    kx::test::PrivateBus bus;
    kxplayer::MediaControl media(screen(), *window, {}, bus.connection());
    open();
    media.play();
    advance(22050);
    media.setPositionInFrame(3 * 44100);
    EXPECT_TRUE(kx::test::EventCount(*qApp, QEvent::Timer).await(10)); // the screen looks at the player meanwhile
    EXPECT_EQ(media.positionInFrame(), 3 * 44100) << "the play line waits for the jump to be heard";
    advance(8820);
    EXPECT_TRUE(eventually([&] { return screen().shownFrame() > 3 * 44100; }));
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

} // namespace
