#include "KXFW/Audio/KXAFilePlayer.h"
#include "Tests/Support/Eventually.h"
#include "Tests/Support/Media.h"
#include "kx/Internal/Signal.h"
#include "kx/kx.h"
#include "kx/testing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <iterator>
#include <mutex>
#include <thread>

using namespace kx::test;
using kx::ErrorCode;
using kx::Frames;
using namespace std::chrono_literals;

namespace
{

const Media kCounter{.frames = 60000, .signal = Signal::Index};

std::vector<int64_t> indices(std::span<const int16_t> samples)
{
    std::vector<int64_t> result;
    for (std::size_t i = 0; i + 1 < samples.size(); i += 2)
        result.push_back(indexOf(samples[i], samples[i + 1]));
    return result;
}

std::vector<int64_t> counting(int64_t from, int64_t to)
{
    std::vector<int64_t> result;
    for (; from < to; ++from)
        result.push_back(from);
    return result;
}

std::vector<int64_t> readAll(kx::File file)
{
    std::vector<int16_t> samples(2 * static_cast<std::size_t>(file.length().count()) + 64);
    const std::size_t frames = file.read(samples).value();
    return indices(std::span(samples).first(2 * frames));
}

/// A player on a device whose clock the test turns.
class Face : public testing::Test
{
protected:
    Face()
    {
        sound_.onTaken([this](const std::string &, std::span<const std::byte> bytes) {
            std::vector<int16_t> samples(bytes.size() / sizeof(int16_t));
            std::memcpy(samples.data(), bytes.data(), bytes.size());
            const std::lock_guard guard(lock_);
            const auto frames = indices(samples);
            heard_.insert(heard_.end(), frames.begin(), frames.end());
        });
    }
    ~Face() override { sound_.onTaken({}); }

    std::vector<int64_t> heard()
    {
        const std::lock_guard guard(lock_);
        return heard_;
    }

    kx::VirtualSound sound_{kx::VirtualSound::Clock::Manual};
    std::mutex lock_;
    std::vector<int64_t> heard_;
};

template <class Value> void expectError(const kx::Result<Value> &result, ErrorCode code, const std::string &message)
{
    ASSERT_FALSE(result) << message;
    EXPECT_EQ(result.error().code, code) << result.error().message();
    EXPECT_EQ(result.error().message(), message);
}

TEST_F(Face, PlaysARangeOnceAndTellsTheEnd)
{
    auto player = std::make_unique<kx::Player>();
    kx::File file = kx::File::open(make(kCounter)).value();
    std::vector<int16_t> samples(100);
    EXPECT_EQ(file.read(samples).value(), 50U); // which does not move what is played
    player->load(std::move(file)).value();
    player->setRange({Frames(1000), Frames(4000)}).value();
    player->setPlayMode(kx::PlayMode::RangeOnce).value();
    Handshake ends;
    kx::Subscription again;
    again = player->onEnded([&] {
        again.end(); // a call may end itself, and use the player
        player->seek(Frames(2000)).value();
        player->play().value();
        ends.announce();
    });
    player->play().value();
    EXPECT_EQ(player->state(), kx::Player::State::Playing);
    while (ends.count() == 0)
        sound_.advance(Frames(1024));
    kx::Subscription last = player->onEnded([&] {
        player.reset(); // or be the end of it
        ends.announce();
    });
    while (ends.count() == 1)
        sound_.advance(Frames(1024));
    std::vector<int64_t> played = heard();
    std::erase(played, 0); // silence behind each end, and frame 0
    std::vector<int64_t> wanted = counting(1, 4000);
    std::ranges::copy(counting(2000, 4000), std::back_inserter(wanted));
    EXPECT_EQ(played, wanted);
}

TEST_F(Face, SaysWhyItRefuses)
{
    kx::Player player;
    expectError(player.play(), ErrorCode::NoFile, "no file is loaded");
    expectError(player.seek(Frames(5)), ErrorCode::NoFile, "no file is loaded");
    expectError(player.setRange({Frames(0), Frames(5)}), ErrorCode::NoFile, "no file is loaded");
    expectError(player.exportRange(temporaryPath("x.aiff")), ErrorCode::NoFile, "no file is loaded");
    expectError(player.open("/none.wav"), ErrorCode::NotFound, "/none.wav: the file does not exist");
    const std::string file = make(kCounter);
    player.open(file).value();
    player.seek(Frames(7)).value();
    const std::string text = fileOf("text.mp3", {'h', 'i'});
    expectError(player.open(text), ErrorCode::Unsupported, text + ": the type of the file is not supported");
    EXPECT_EQ(player.path(), file) << "the old file stays";
    player.setVolume(2).value();
    EXPECT_EQ(player.volume(), 1);
    EXPECT_EQ(player.position(), Frames(7));
    expectError(player.seek(Frames(60001)), ErrorCode::InvalidArgument,
                file + ": frame 60001 is none of its 60000 frames");
    expectError(player.setRange({Frames(5), Frames(4)}), ErrorCode::InvalidArgument,
                file + ": frames 5 to 4 are no part of its 60000 frames");
    expectError(player.setVolume(NAN), ErrorCode::InvalidArgument, "a volume is a number");
    expectError(player.setOutputDevice(12345), ErrorCode::NoDevice, "there is no such audio device");
    player.setRange({Frames(4), Frames(4)}).value();
    expectError(player.play(), ErrorCode::InvalidArgument, file + ": the range is empty");
    EXPECT_THROW(player.play().value(), kx::Exception);
    player.setRange({Frames(0), Frames(60000)}).value();
    sound_.setDevices({});
    EXPECT_TRUE(eventually([&] { return player.outputDevice() == 0; }));
    expectError(player.play(), ErrorCode::NoDevice, file + ": there is no output device");
}

TEST_F(Face, ExportsExactlyTheRange)
{
    const std::filesystem::path file = make(kCounter);
    const std::filesystem::path destination = temporaryPath("out.aiff");
    kx::Player player;
    player.open(file).value();
    player.setRange({Frames(1000), Frames(4001)}).value();
    player.seek(Frames(2000)).value();
    kx::Exporter exporter = player.exportRange(destination).value();
    exporter.wait().value();
    EXPECT_EQ(exporter.progress(), 1);
    bool told = false;
    const kx::Subscription late = exporter.onEnded([&](const kx::Result<> &result) { told = result.hasValue(); });
    EXPECT_TRUE(told);
    EXPECT_EQ(readAll(kx::File::open(destination).value()), counting(1000, 4001));
    player.exportRange(destination, {.exactFrames = false}).value().wait().value();
    EXPECT_EQ(readAll(kx::File::open(destination).value()), counting(1000, 1000 + 6 * 512)) << "whole slices";
    expectError(player.exportRange("/none/x.aiff").value().wait(), ErrorCode::NotFound,
                "/none/x.aiff: its folder does not exist");
}

TEST_F(Face, IsClosedToOtherUsesWhileItExports)
{
    kx::Player player;
    player.open(make(kCounter)).value();
    Handshake begun;
    Handshake released;
    Handshake ended;
    const auto holdUp = [&](double) { return begun.announce(), !released.await(); };
    player.native()->exportAsyncWithURL(temporaryPath("held.aiff"), holdUp, [&] { ended.announce(); });
    ASSERT_TRUE(begun.await());
    EXPECT_EQ(player.state(), kx::Player::State::Exporting);
    const std::string busy = player.path().string() + ": an export is running";
    expectError(player.play(), ErrorCode::Busy, busy);
    expectError(player.seek(Frames(1)), ErrorCode::Busy, busy);
    expectError(player.setRange({}), ErrorCode::Busy, busy);
    expectError(player.setPlayMode(kx::PlayMode::RangeOnce), ErrorCode::Busy, busy);
    expectError(player.load(kx::File::open(player.path()).value()), ErrorCode::Busy, busy);
    expectError(player.exportRange(temporaryPath("y.aiff")), ErrorCode::Busy, busy);
    const auto pitch = std::make_shared<kx::TimePitch>();
    expectError(player.setEffects({pitch}), ErrorCode::Busy, busy);
    EXPECT_EQ(player.playMode(), kx::PlayMode::Loop);
    released.announce();
    EXPECT_TRUE(ended.await());
    player.setEffects({pitch}).value();
}

/// Only who asks for it gets the shorter file.
TEST_F(Face, AnExportThatIsLetGoLeavesTheOldFileAndFreesTheEffects)
{
    struct Nothing : kx::Effect {
        void process(Source &source, const Block &out) noexcept override { source.pull(out); }
    };
    const auto effect = std::make_shared<Nothing>();
    const std::filesystem::path song = make({.frames = 3000000});
    const std::filesystem::path destination = fileOf("cut.aiff", {'o', 'l', 'd'});
    for (int i = 0; i < 20; ++i) {
        kx::Player player;
        player.open(song).value();
        player.setEffects({effect}).value(); // of the player before
        kx::Exporter exporter = player.exportRange(destination).value();
        if (i % 2 == 0)
            const kx::Exporter gone = std::move(exporter);
        else
            player = kx::Player();
    }
    EXPECT_EQ(readBytes(destination), (std::vector<uint8_t>{'o', 'l', 'd'}));
    kx::Player player;
    player.open(song).value();
    kx::Exporter cancelled = player.exportRange(destination).value();
    cancelled.cancel();
    EXPECT_EQ(cancelled.wait().error(), (kx::Error{ErrorCode::Cancelled, "cancelled", destination}));
    EXPECT_LT(kx::File::open(destination).value().length(), Frames(3000000));
}

TEST(Subscriptions, ThatEndEachOtherDoNotWaitForEachOther)
{
    kx::Signal<> signals[2];
    kx::Subscription subscriptions[2];
    Handshake inBoth;
    for (int i : {0, 1})
        subscriptions[i] = signals[i].subscribe([&, i] {
            inBoth.announce();
            EXPECT_TRUE(inBoth.await(2));
            subscriptions[1 - i].end();
        });
    std::jthread other([&] { signals[1].raise(); });
    signals[0].raise();
}

static_assert(kx::toFrames(1500ms) == Frames(66150));
static_assert(kx::toFrames(std::chrono::hours::max()) == std::chrono::days(200));
static_assert(kx::toFrames(std::chrono::duration<double>(-1e300)) == -std::chrono::days(200));

TEST_F(Face, ListsDevicesAndTellsThatTheyChange)
{
    std::atomic<int> calls = 0;
    kx::Subscription subscription = kx::onDevicesChanged([&] { ++calls; });
    sound_.setDevices({{"Speaker"}, {.name = "Mic", .hasInput = true, .hasOutput = false}});
    EXPECT_TRUE(eventually([&] { return calls > 0; }));
    const kx::Device speaker = kx::deviceNamed("Speaker").value();
    EXPECT_EQ(kx::defaultOutputDevice(), speaker);
    EXPECT_EQ(kx::devices(),
              (std::vector<kx::Device>{
                  {.id = speaker.id, .name = "Speaker", .canPlay = true, .isDefaultOutput = true, .isVirtual = true},
                  {.id = kx::deviceNamed("Mic")->id,
                   .name = "Mic",
                   .canRecord = true,
                   .isDefaultInput = true,
                   .isVirtual = true}}));
    subscription = {};
    calls = 0;
    sound_.setDevices({{"Speaker"}});
    Handshake told;
    const kx::Subscription second = kx::onDevicesChanged([&] { told.announce(); });
    sound_.setDevices({});
    EXPECT_TRUE(told.await());
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(kx::defaultOutputDevice(), std::nullopt);
}

TEST_F(Face, ReadsAndSeeksExactly)
{
    const std::filesystem::path path = make(kCounter);
    kx::File file = kx::File::open(path).value();
    EXPECT_EQ(file.info(), (kx::FileInfo{"Linear PCM", kx::FileInfo::Samples::Integer, 16, 2, 44100, 60000}));
    file.seek(Frames(59998)).value();
    kx::File moved = std::move(file);
    EXPECT_EQ(moved.position(), Frames(59998));
    std::vector<int16_t> samples(8);
    EXPECT_EQ(moved.read(samples).value(), 2U);
    EXPECT_EQ(indices(samples)[1], 59999);
    EXPECT_EQ(moved.read(samples).value(), 0U);
    EXPECT_FALSE(moved.seek(Frames(60001)));
    EXPECT_EQ(readAll(kx::File::open(path).value()), counting(0, 60000));
    std::stop_source stop;
    stop.request_stop();
    expectError(kx::File::open(path, stop.get_token()), ErrorCode::Cancelled,
                path.string() + ": opening the file was cancelled");
}

} // namespace
