// The player's window with real widgets and the real player, on a device whose clock the test turns.
#include "Apps/kxplayer/MainWindow.h"
#include "Apps/kxplayer/OutputDeviceMenu.h"
#include "Apps/kxplayer/VolumeSlider.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/ScopedVirtualHardware.h"
#include "Tests/kxplayer/PrivateBus.h"

#include <QApplication>
#include <QDropEvent>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QSlider>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <gtest/gtest.h>

#include <cstdlib>

using kx::test::make;

namespace
{

[[maybe_unused]] const int chosen = setenv("KXFW_AUDIO_BACKEND", "virtual", 1);

constexpr int64_t kFiveSeconds = 220500; // five seconds

class Window : public testing::Test
{
protected:
    Window()
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
        window = std::make_unique<kxplayer::MainWindow>();
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        NSAlert::setPresenter([this](const NSAlert &alert) { alerts.push_back(alert.messageText()); });
    }
    ~Window() override { NSAlert::setPresenter({}); }

    [[nodiscard]] kxplayer::PlayerScreen &screen() const { return *window->screen(); }
    [[nodiscard]] KXAFilePlayer &player() const { return *screen().player(); }
    void open(int64_t frames = kFiveSeconds) const { window->openFile(make({.frames = frames})); }
    template <class Widget> Widget *find(const char *name) const { return window->findChild<Widget *>(name); }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) const { QTest::keyClick(window.get(), key, modifiers); }
    void type(const char *name, const QString &text) const
    {
        find<QLineEdit>(name)->selectAll();
        QTest::keyClicks(find<QLineEdit>(name), text);
        QTest::keyClick(find<QLineEdit>(name), Qt::Key_Return);
    }
    /// Lets the device take frames until the player has nothing more to give or has given that many.
    void advance(uint32_t frames) const
    {
        for (uint64_t taken = 0; taken < frames && player().isPlaying();)
            taken += kx::VirtualHardware::instance().advance(512);
    }
    static bool eventually(const std::function<bool()> &reached) { return QTest::qWaitFor(reached, 30000); }

    QTemporaryDir settings;
    kx::test::ScopedVirtualHardware hardware{kx::VirtualClock::Manual};
    std::vector<std::string> alerts;
    std::unique_ptr<kxplayer::MainWindow> window;
};

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

    std::filesystem::path broken = make({.frames = 8}).parent_path() / "broken.mp3";
    QFile(QFile::decodeName(broken.c_str())).open(QIODevice::WriteOnly);
    window->openFile(broken);
    EXPECT_TRUE(eventually([&] { return !alerts.empty(); }));
    EXPECT_EQ(alerts, std::vector<std::string>{"Failed to read a file."});
    EXPECT_FALSE(find<QPushButton>("playButton")->isEnabled() || find<QLineEdit>("endTimeField")->isEnabled());
    EXPECT_FALSE(screen().playPositionView()->enabled());
    open(44100);
    EXPECT_TRUE(find<QPushButton>("playButton")->isEnabled());
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

    auto *slider = find<QSlider>("rateSlider");
    slider->setFocus();
    const int before = slider->value();
    QTest::keyClick(slider, Qt::Key_Right);
    EXPECT_GT(slider->value(), before) << "a focused slider keeps its arrows";
    EXPECT_EQ(player().frameOffset(), 88200);
}

TEST_F(Window, SlidersWorkTheEffectAndGoBackOnADoubleClick)
{
    open();
    auto *rate = find<QSlider>("rateSlider");
    auto *pitch = find<QSlider>("pitchSlider");
    rate->triggerAction(QAbstractSlider::SliderToMinimum);
    pitch->triggerAction(QAbstractSlider::SliderToMaximum);
    EXPECT_EQ(screen().pitch()->rate(), 0.25F);
    EXPECT_EQ(screen().pitch()->pitch(), 2400.0F);
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
    hardware->setDevices({{"Virtual Output"}, {"Speaker"}});
    auto *menu = window->findChild<kxplayer::OutputDeviceMenu *>();
    const auto speaker = [&]() -> QAction * {
        for (QAction *action : menu->actions())
            if (action->text().startsWith("Speaker"))
                return action;
        return nullptr;
    };
    ASSERT_TRUE(eventually([&] { return speaker() != nullptr; }));
    const AudioObjectID before = player().outputDeviceID();
    key(Qt::Key_Space);
    speaker()->trigger();
    EXPECT_NE(player().outputDeviceID(), before);
    EXPECT_FALSE(player().followsDefaultOutput());
    EXPECT_TRUE(screen().isPlaying()) << "it plays on";
    EXPECT_NEAR(double(player().volume()), 0.5, 0.01);
    hardware->setDevices({{"Virtual Output"}});
    EXPECT_TRUE(eventually(
        [&] { return player().outputDeviceID() != kAudioObjectUnknown && player().followsDefaultOutput(); }));
    EXPECT_NEAR(double(player().volume()), 0.5, 0.01);
    EXPECT_TRUE(find<QLabel>("noticeLabel")->isVisible()) << "nothing but virtual devices";
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
    EXPECT_EQ(screen().file(), file);

    window->openArgument("http://example.org/a.mp3");
    const auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
    ASSERT_NE(box, nullptr);
    EXPECT_TRUE(box->text().contains("http://example.org/a.mp3"));
    EXPECT_EQ(screen().file(), file) << "what is open stays";
}

/// The play line stays where the user has put it until that is heard, and never runs back meanwhile.
TEST_F(Window, PlayLineWaitsForAJumpToBeHeard)
{
    open();
    key(Qt::Key_Space);
    advance(22050);
    screen().moveTo(3 * 44100);
    QTest::qWait(50);
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
    media.setRate(2);
    EXPECT_EQ(screen().pitch()->rate(), 2.0F);
    media.stop();
    EXPECT_FALSE(screen().isPlaying());
    EXPECT_EQ(player().frameOffset(), 0);
}

TEST_F(Window, ClosesInTheMiddleOfAnything)
{
    open();
    key(Qt::Key_Space);
    window->close();
    EXPECT_FALSE(screen().isPlaying());
    window->show();
    screen().clickOpenButton({});
    window->close();
    window.reset();
    QTest::qWait(20);
}

} // namespace
