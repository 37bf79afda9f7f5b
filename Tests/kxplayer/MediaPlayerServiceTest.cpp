#include "Apps/kxplayer/MediaPlayerService.h"
#include "Tests/Support/CapturedLog.h"
#include "Tests/kxplayer/PrivateBus.h"

#include <gtest/gtest.h>

#include <QDBusPendingReply>
#include <QDBusVariant>

#include <cmath>
#include <limits>

using namespace kx::test;
using kxplayer::MediaPlayerService;
using kxplayer::PlayerState;

namespace
{

constexpr auto kRoot = "org.mpris.MediaPlayer2";
constexpr auto kPlayer = "org.mpris.MediaPlayer2.Player";
constexpr auto kProperties = "org.freedesktop.DBus.Properties";
constexpr auto kPath = "/org/mpris/MediaPlayer2";
constexpr auto kName = "org.mpris.MediaPlayer2.kxplayer";

/// Writes down what it is asked.
struct FakePlayer : kxplayer::PlayerCommands {
    void play() override { note("play"); }
    void pause() override { note("pause"); }
    void stop() override { throw std::runtime_error("no stopping"); }
    void setPositionInFrame(int64_t frame) override { note("position " + QString::number(position = frame)); }
    void setRate(double rate) override { note("rate " + QString::number(rate)); }
    void setLoop(bool loop) override { note(loop ? "loop" : "no loop"); }
    void setGain(double gain) override { note("gain " + QString::number(gain)); }
    void openFile(const std::filesystem::path &file) override { note(QByteArray::fromStdString(file.string())); }
    void raise() override { note("raise"); }
    void quit() override { note("quit"); }
    [[nodiscard]] int64_t positionInFrame() const override { return position; }

    void note(const QString &what) { asked += what + ", "; }
    QString take() { return std::exchange(asked, {}); }

    QString asked;
    int64_t position = 0;
};

class MediaPlayerServiceTest : public testing::Test, public QObject
{
protected:
    /// Calls through the bus while this thread serves; the answer or the error.
    QDBusMessage call(const QString &interface, const QString &method, const QVariantList &arguments = {})
    {
        QDBusMessage message = QDBusMessage::createMethodCall(kName, kPath, interface, method);
        message.setArguments(arguments);
        const QDBusPendingCall pending = client.asyncCall(message, 30000);
        EXPECT_TRUE(QTest::qWaitFor([&] { return pending.isFinished(); }, 30000)) << method.toStdString();
        QCoreApplication::processEvents(); // what was put off until after the answer
        return pending.reply();
    }
    QVariant get(const QString &name, const QString &interface = kPlayer)
    {
        return call(kProperties, "Get", {interface, name}).arguments().value(0).value<QDBusVariant>().variant();
    }
    void set(const QString &name, const QVariant &value)
    {
        call(kProperties, "Set", {kPlayer, name, QVariant::fromValue(QDBusVariant(value))});
    }
    static PlayerState openState(uint64_t number = 1)
    {
        return {.file = "/tmp/\xc3\xa4 b.wav", .fileNumber = number, .numFrames = 441000};
    }

    PrivateBus bus;
    QDBusConnection client = bus.connection();
    FakePlayer player;
    MediaPlayerService service{player, bus.connection()};
};

TEST_F(MediaPlayerServiceTest, ShowsWhatPlays)
{
    PlayerState state = openState();
    state.playback = kxplayer::Playback::Playing;
    state.rate = 0.5;
    service.setState(state);
    player.position = 44100;
    const auto metadata = qdbus_cast<QVariantMap>(get("Metadata"));
    const QVariantList shown{
        get("SupportedUriSchemes", kRoot), get("PlaybackStatus"), get("Position"),         get("Rate"), get("CanSeek"),
        metadata["xesam:title"],           metadata["xesam:url"], metadata["mpris:length"]};
    EXPECT_EQ(shown, (QVariantList{QStringList{"file"}, "Playing", 1000000LL, 0.5, true, QStringLiteral("ä b.wav"),
                                   "file:///tmp/%C3%A4%20b.wav", 10000000LL}));
    EXPECT_TRUE(get("SupportedMimeTypes", kRoot).toStringList().contains("audio/mpeg"));
}

TEST_F(MediaPlayerServiceTest, PassesOnWhatMakesSense)
{
    const auto track = [](int number) {
        return QVariant::fromValue(QDBusObjectPath("/kxplayer/track/" + QString::number(number)));
    };
    call(kPlayer, "Play");
    call(kPlayer, "SetPosition", {track(0), 0LL});
    call(kPlayer, "Seek", {5LL});
    EXPECT_EQ(player.take(), "") << "nothing is open";
    PlayerState state = openState(7);
    service.setState(state);
    call(kPlayer, "PlayPause");
    state.playback = kxplayer::Playback::Playing;
    service.setState(state);
    call(kPlayer, "PlayPause");
    EXPECT_EQ(player.take(), "play, pause, ");

    call(kPlayer, "SetPosition", {track(7), 2500000LL});
    for (const qlonglong move : {-500000LL, LLONG_MAX, LLONG_MIN})
        call(kPlayer, "Seek", {move});
    for (const qlonglong position : {-1LL, LLONG_MIN, LLONG_MAX, 10000001LL}) // outside
        call(kPlayer, "SetPosition", {track(7), position});
    call(kPlayer, "SetPosition", {track(6), 0LL}); // another track
    EXPECT_EQ(player.take(), "position 110250, position 88200, position 441000, position 0, ");

    for (const double rate : {2.0, 0.01, 1e300, 0.0, -1.0, std::nan(""), std::numeric_limits<double>::infinity()})
        set("Rate", rate);
    for (const double volume : {0.5, -3.0, 7.0, std::nan("")})
        set("Volume", volume);
    for (const char *loop : {"Track", "None", "Playlist", "", "track"})
        set("LoopStatus", loop);
    set("LoopStatus", 5);
    set("PlaybackStatus", "Playing");
    call(kRoot, "Raise");
    call(kRoot, "Quit");
    EXPECT_EQ(player.take(),
              "rate 2, rate 0.25, rate 4, pause, gain 0.5, gain 0, gain 1, loop, no loop, raise, quit, ");
    CapturedLog log;
    EXPECT_EQ(call(kPlayer, "Stop").type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(log.messages(), std::vector<std::string>{"media controls: no stopping"});
}

TEST_F(MediaPlayerServiceTest, OpensFilesAndRefusesOtherThingsWithAReason)
{
    EXPECT_EQ(call(kPlayer, "OpenUri", {"file:///tmp/%C3%A4%20b.wav"}).type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(player.take(), QStringLiteral("/tmp/ä b.wav, "));
    for (const char *uri : {"http://example.org/a.mp3", "", "/tmp/a.wav"}) {
        const QDBusMessage answer = call(kPlayer, "OpenUri", {uri});
        EXPECT_EQ(answer.errorName(), "org.freedesktop.DBus.Error.InvalidArgs") << uri;
        EXPECT_TRUE(answer.errorMessage().contains(QString("“%1” cannot be opened: ").arg(uri))) << uri;
    }
    EXPECT_EQ(player.take(), "");
}

TEST_F(MediaPlayerServiceTest, TellsWhatChangesAndJumps)
{
    BusSignals changes;
    BusSignals jumps;
    ASSERT_TRUE(client.connect(kName, kPath, kProperties, "PropertiesChanged", &changes, SLOT(take(QDBusMessage))));
    ASSERT_TRUE(client.connect(kName, kPath, kPlayer, "Seeked", &jumps, SLOT(take(QDBusMessage))));
    get("Rate"); // the bus knows of both by now
    PlayerState state = openState();
    service.setState(state);
    service.setState(state);
    state.loops = true;
    service.setState(state);
    ASSERT_TRUE(changes.await(2));
    const auto changed = [&](int i) { return qdbus_cast<QVariantMap>(changes.messages[i].arguments().value(1)); };
    EXPECT_EQ(changed(0).keys(), (QStringList{"CanPause", "CanPlay", "CanSeek", "Metadata"}));
    EXPECT_EQ(changed(1), (QVariantMap{{"LoopStatus", "Track"}})) << "an unchanged state is not told";
    call(kPlayer, "Seek", {1000000LL});
    service.announceJump(22050);
    ASSERT_TRUE(jumps.await(1));
    EXPECT_EQ(jumps.messages[0].arguments(), QVariantList{500000LL}) << "where it went, not where it was sent";
}

TEST_F(MediaPlayerServiceTest, ASecondOneHasANameOfItsOwnAndWithoutABusThereIsNone)
{
    const MediaPlayerService second(player, bus.connection());
    EXPECT_EQ(second.name(), QString(kName) + ".instance" + QString::number(QCoreApplication::applicationPid()));
    EXPECT_EQ(MediaPlayerService(player, bus.connection()).name(), "") << "both names are taken";
    MediaPlayerService absent(player, QDBusConnection("none"));
    EXPECT_EQ(absent.name(), "");
    absent.setState(openState());
    absent.announceJump(5);
    bus.kill();
    service.setState(openState());
    service.announceJump(5);
}

} // namespace
