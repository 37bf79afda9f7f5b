#include "Apps/kxplayer/OutputDeviceMenu.h"
#include "Apps/kxplayer/Timeline/TimelineView.h"
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
    EXPECT_EQ(shown(), "[Open] (Play) (Export) ; fields 0(disabled) 0(disabled) 0(disabled); timeline 0 0 0 "
                       "of 0; player 0 0 0 loops");
    open();
    const std::string name = screen().file().filename().string();
    EXPECT_EQ(window->windowTitle().toStdString(), name + " - kxplayer");
    EXPECT_EQ(shown(), "[Open] [Play] [Export] " + name +
                           "; fields 0 220500 0; timeline 0 220500 0 of 220500; player 0 220500 0 loops");
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
                           "; fields 0 44100 0; timeline 0 44100 0 of 44100; player 0 44100 0");
}

TEST_F(Window, KeysAndFieldsMovePositionAndRange)
{
    open();
    for (const Qt::Key each :
         {Qt::Key_Right, Qt::Key_Right, Qt::Key_Left, Qt::Key_I, Qt::Key_Right, Qt::Key_Right, Qt::Key_O, Qt::Key_L})
        key(each);
    const std::string file = "[Open] [Play] [Export] " + screen().file().filename().string();
    EXPECT_EQ(shown(),
              file +
                  "; fields 44100 132300 132300; timeline 44100 132300 132300 of 220500; player 44100 132300 132300");
    EXPECT_EQ(text("startTimeText"), "0:01.000");

    type("endTimeField", "0:04.5");
    type("startTimeField", "nonsense"); // no number changes nothing
    type("playTimeField", "88200");
    EXPECT_EQ(shown(),
              file + "; fields 44100 198450 88200; timeline 44100 198450 88200 of 220500; player 44100 198450 88200");
    type("startTimeField", "9999999"); // behind the end: to the end of the file, a millisecond at least
    key(Qt::Key_Home);
    EXPECT_EQ(
        shown(),
        file + "; fields 220455 220500 220455; timeline 220455 220500 220455 of 220500; player 220455 220500 220455");

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
    EXPECT_EQ(player().frameOffset(), 44100) << "nobody has tabbed to a button or to the timeline";
    auto *slider = find<QSlider>("rateSlider");
    slider->setFocus();
    QTest::keyClick(slider, Qt::Key_Right);
    EXPECT_GT(slider->value(), 0) << "a slider, however one came to it";
    for (QWidget *part : screen().view()->findChildren<QWidget *>())
        if (part->accessibleName() == "Loop start") {
            EXPECT_TRUE(eventually([&] { return part->isEnabled(); }));
            press(part, Qt::Key_Right);
        }
    EXPECT_EQ(text("startTimeText"), "0:00.100") << "a part of the timeline";
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
    EXPECT_EQ(jumps, std::vector<int64_t>{4 * 44100}) << "out of the loop's range";
    media.play();
    EXPECT_TRUE(eventually([&] {
        advance(2048);
        return jumps.size() > 1;
    }));
    EXPECT_LT(jumps.back(), 2 * 44100 - 22050) << "the loop's end is a jump";
}

TEST_F(Window, PlaysFromWhereTheLineIsPutAndLoopsOnceItIsInTheRange)
{
    open();
    screen().setRangeStart(2 * 44100);
    screen().setRangeEnd(3 * 44100);
    screen().moveTo(44100);
    EXPECT_EQ(player().frameOffset(), 44100);
    key(Qt::Key_Space);
    int64_t least = kFiveSeconds;
    EXPECT_TRUE(eventually([&] {
        advance(1024);
        least = std::min(least, player().heardFrame().frame);
        return screen().shownFrame() > 2 * 44100;
    }));
    EXPECT_GE(least, 44100);
    EXPECT_LT(least, 2 * 44100) << "it has played what lies before the range";
    for (int i = 0; i < 300; ++i) {
        advance(512);
        QCoreApplication::processEvents();
        const int64_t frame = player().frameOffset();
        ASSERT_TRUE(frame >= 2 * 44100 && frame <= 3 * 44100) << frame;
    }
    screen().moveTo(44100);
    key(Qt::Key_Space);
    EXPECT_TRUE(player().frameOffset() >= 44100 && player().frameOffset() < 2 * 44100) << "it stays where it stops";
    EXPECT_EQ(player().startOffsetInFrame(), 2 * 44100) << "what is exported";
    auto &line = *find<kxplayer::TimelineView>("");
    emit line.handBegan();
    emit line.rangePicked({kx::Frames(500), kx::Frames(600)});
    screen()._updateUI(); // as at any event meanwhile
    EXPECT_EQ(player().startOffsetInFrame(), 2 * 44100) << "a drag that goes on is not heard";
    emit line.rangePicked({kx::Frames(500), kx::Frames(30000)});
    emit line.handEnded();
    EXPECT_TRUE(shown().ends_with("timeline 500 30000 500 of 220500; player 500 30000 500 loops")) << shown();
}

TEST_F(Window, TakesBackEveryChangeOfRangeLoopAndSettings)
{
    open();
    auto &rate = *find<QSlider>("rateSlider");
    auto &line = *find<kxplayer::TimelineView>("");
    const auto state = [&] {
        const auto &timeline = screen().timeline();
        return std::tuple(timeline.range().start.count(), timeline.range().end.count(), screen().loops(), rate.value(),
                          find<QSlider>("pitchSlider")->value(), screen().gain());
    };
    const std::function<void()> steps[] = {
        [&] {
            emit line.handBegan();
            for (const int64_t end : {3000, 50000, 90000})
                emit line.rangePicked({kx::Frames(2000), kx::Frames(end)});
            emit line.handEnded();
        },
        [&] { key(Qt::Key_L); },
        [&] { screen().setRangeStart(150000); }, // behind the end
        [&] {
            key(Qt::Key_BracketLeft);
            key(Qt::Key_BracketLeft, Qt::AltModifier);
            key(Qt::Key_BraceLeft);
        },
        [&] {
            rate.setSliderDown(true);
            rate.setSliderPosition(50);
            rate.setSliderPosition(100);
            rate.setSliderDown(false);
        },
        [&] { find<QSlider>("pitchSlider")->triggerAction(QAbstractSlider::SliderToMaximum); },
        [&] { screen().setGain(0.25); },
        [&] { key(Qt::Key_Escape); },
    };
    std::vector states{state()};
    for (const auto &step : steps) {
        step();
        states.push_back(state());
    }
    EXPECT_EQ(std::get<0>(states[4]), 150000 - 4410);
    EXPECT_EQ(std::get<1>(states[4]), kFiveSeconds);
    for (std::size_t i = states.size(); i-- > 0;) {
        EXPECT_EQ(state(), states[i]) << i;
        key(Qt::Key_Z, Qt::ControlModifier);
    }
    EXPECT_FALSE(screen().canUndo());
    for (const auto &expected : states) {
        EXPECT_EQ(state(), expected);
        key(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    }
    EXPECT_EQ(player().endOffsetInFrame(), kFiveSeconds);
    EXPECT_EQ(player().volume(), float(screen().gain()));
    open(44100);
    EXPECT_FALSE(screen().canUndo()) << "another file";
}

TEST_F(Window, SnapsTheEndsOfARangeToZeroCrossings)
{
    open();
    screen().setSnaps(true);
    screen().setRangeStart(100003);
    screen().setRangeEnd(180001);
    const auto source = kx::test::samples({.frames = kFiveSeconds});
    const auto sum = [&](int64_t at) { return source[std::size_t(at) * 2] + source[std::size_t(at) * 2 + 1]; };
    const auto crosses = [&](kx::Frames at) { return (sum(at.count() - 1) < 0) != (sum(at.count()) < 0); };
    EXPECT_TRUE(eventually([&] { return crosses(screen().range().start) && crosses(screen().range().end); }));
    EXPECT_NEAR(double(screen().range().start.count()), 100003, 441);
    screen().undo();
    screen().undo();
    EXPECT_FALSE(screen().canUndo()) << "it belongs to its change";
}

} // namespace
