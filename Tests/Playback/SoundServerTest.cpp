// The player on a real sound server: what its null sinks play is recorded and compared with the file.
#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Platform/AudioUnits/AVAudioUnitTimePitch.h"
#include "Tests/Audio/PlayerFixture.h"
#include "Tests/Support/MonitorRecorder.h"
#include "Tests/Support/PulseServer.h"
#include "Tests/Support/UnitTesting.h"

#include <cstdlib>
#include <numeric>

namespace kx::test
{
namespace
{

[[maybe_unused]] const int chosen = unsetenv("KXFW_AUDIO_BACKEND"); // a server is found, whenever it comes

/// The server of the process. The hardware service is one for the process too and stays with the system that it found,
/// so that tests of the other kind need a process of their own, as the test runner gives each.
PulseServer &server(ServerKind kind)
{
    static PulseServer running(std::vector<PulseSink>{{"kx1"}, {"kx2"}, {"kx3", 48000}}, kind);
    return running;
}

bool isOfThisProcess(ServerKind kind)
{
    static const ServerKind first = kind;
    return first == kind;
}

std::string nameOf(const testing::TestParamInfo<ServerKind> &info)
{
    return info.param == ServerKind::PipeWire ? "PipeWire" : "PulseAudio";
}

AudioObjectID deviceWithUID(const std::string &uid)
{
    const std::unique_ptr<AudioObjectID, void (*)(void *)> ids(KXAHardwareManager::deviceIDs(), std::free);
    for (const AudioObjectID *id = ids.get(); *id != 0; ++id) {
        const std::unique_ptr<char, void (*)(void *)> text(
            KXAHardwareManager::cStringPropertyOfDeviceID(*id, kAudioDevicePropertyDeviceUID, false, 0), std::free);
        if (text && uid == text.get())
            return *id;
    }
    return 0;
}

/// The numbers of the frames in a recording of Signal::Index; 0 stands for silence too.
std::vector<int64_t> numbersIn(const std::vector<int16_t> &samples)
{
    std::vector<int64_t> numbers;
    appendIndices(std::as_bytes(std::span(samples)), numbers);
    std::erase(numbers, 0);
    return numbers;
}

/// What a sink played once more than `count` numbers have been recorded.
std::vector<int64_t> numbersOnce(const MonitorRecorder &recorder, std::size_t count)
{
    EXPECT_TRUE(recorder.waitUntil([&](const auto &all) { return numbersIn(all).size() > count; }));
    return numbersIn(recorder.samples());
}

/// What a sink played, without silence, once it is `count` samples.
std::vector<int16_t> samplesOnce(const MonitorRecorder &recorder, std::size_t count)
{
    EXPECT_TRUE(recorder.waitUntil([&](const auto &all) { return withoutSilence(all).size() >= count; }));
    return withoutSilence(recorder.samples());
}

testing::AssertionResult isPlayingOn(const KXAFilePlayer &player, const std::string &uid)
{
    return eventually(
        [&] { return deviceWithUID(uid) != 0 && player.outputDeviceID() == deviceWithUID(uid) && player.isPlaying(); });
}

using LateSoundServer = testing::TestWithParam<ServerKind>;

TEST_P(LateSoundServer, IsFollowedByThePlayerThatPlays)
{
    if (!isOfThisProcess(GetParam()))
        GTEST_SKIP();
    auto &late = server(GetParam());
    late.stop();
    const auto player = KXAFilePlayer::player();
    ASSERT_TRUE(player->loadFileAtURL(make(indexed(4'000'000))));
    player->setOffsetFramesPlay(1, 1, 4'000'000);
    player->play();
    if (KXAHardwareManager::defaultOutputDeviceID() != 0) { // else the process has met a server before, and waits
        ASSERT_TRUE(eventually([&] { return player->heardFrame().frame > 4410; })) << "the virtual device takes it";
    }
    late.start();
    const MonitorRecorder recorder("kx1");
    ASSERT_TRUE(isPlayingOn(*player, "kx1"));
    const auto all = numbersOnce(recorder, 24000);
    const std::vector<int64_t> heard(all.begin() + 4000, all.end()); // while a sink wakes its monitor may miss a block
    expectPasses(heard, 20000, heard[0], 1, 4'000'000);
}

INSTANTIATE_TEST_SUITE_P(Servers, LateSoundServer, testing::Values(ServerKind::PulseAudio, ServerKind::PipeWire),
                         nameOf);

class SoundServerTest : public testing::TestWithParam<ServerKind>
{
protected:
    void SetUp() override
    {
        if (!isOfThisProcess(GetParam()))
            GTEST_SKIP();
        server().setDefaultSink("kx1");
        EXPECT_TRUE(eventually([] { return deviceWithUID("kx1") && deviceWithUID("kx3"); }));
        EXPECT_TRUE(eventually([] { return KXAHardwareManager::defaultOutputDeviceID() == deviceWithUID("kx1"); }));
        player = KXAFilePlayer::player();
        load(indexed(kFrames));
        player->setOffsetFramesPlay(1, 1, kFrames);
    }

    static PulseServer &server() { return test::server(GetParam()); }
    void load(const Media &media) { ASSERT_TRUE(player->loadFileAtURL(make(media))); }

    static constexpr int64_t kFrames = 4'000'000;
    std::shared_ptr<KXAFilePlayer> player;
};

TEST_P(SoundServerTest, LoopsBitForBitWithoutAGapAndAStopIsQuiet)
{
    player->setOffsetFramesPlay(1000, 1000, 6000);
    const MonitorRecorder recorder("kx1");
    player->play();
    numbersOnce(recorder, 20000);
    player->stop();
    const int64_t position = player->frameOffset();
    // What is recorded next shows that the server goes on: it is silence.
    const std::size_t count = recorder.samples().size();
    ASSERT_TRUE(recorder.waitUntil([&](const auto &all) { return all.size() > count + 2 * 22050; }));
    const auto heard = numbersIn(recorder.samples());
    expectPasses(heard, heard.size(), 1000, 1000, 6000);
    EXPECT_EQ(player->frameOffset(), position);
}

/// Measured: no frame of the sinks' recordings is missing or there twice. Where a loaded server answers too late, some
/// 1,000 frames are heard twice at that change.
TEST_P(SoundServerTest, FollowsTheDefaultSinkAndLosesNoFrame)
{
    constexpr int kChanges = 24;
    const MonitorRecorder first("kx1");
    const MonitorRecorder second("kx2");
    player->play();
    numbersOnce(first, 8000);
    for (int i = 1; i <= kChanges; ++i) {
        const MonitorRecorder &next = i % 2 == 0 ? first : second;
        const std::size_t count = numbersIn(next.samples()).size();
        server().setDefaultSink(i % 2 == 0 ? "kx1" : "kx2");
        if (i < 6 || i == kChanges) // a burst in between
            numbersOnce(next, count + 4000);
    }
    std::vector<int> times(kFrames);
    for (const auto *recorder : {&first, &second})
        for (const int64_t number : numbersIn(recorder->samples()))
            ++times[static_cast<std::size_t>(number)];
    const auto end = std::find_if(times.rbegin(), times.rend(), [](int heard) { return heard > 0; }).base();
    const auto lost = std::count(times.begin() + 1, end, 0);
    EXPECT_EQ(lost, 0);
    EXPECT_LT(std::accumulate(times.begin() + 1, end, -(end - times.begin() - 1)), kChanges * 300) << "heard twice";
}

TEST_P(SoundServerTest, LeavesASinkThatIsRemoved)
{
    server().addSink({"kx4"});
    ASSERT_TRUE(eventually([] { return deviceWithUID("kx4") != 0; }));
    player->setFollowsDefaultOutput(false);
    player->setOutputDeviceID(deviceWithUID("kx4"));
    player->play();
    const MonitorRecorder removed("kx4");
    numbersOnce(removed, 8000);
    const MonitorRecorder remaining("kx1");
    server().removeSink("kx4");
    ASSERT_TRUE(isPlayingOn(*player, "kx1"));
    const auto rest = numbersOnce(remaining, 8000);
    expectPasses(rest, 8000, rest[0], 1, kFrames);
    EXPECT_NEAR(static_cast<double>(rest[0]), static_cast<double>(numbersIn(removed.samples()).back()), 4410)
        << "as exactly as the time of the loss is known";
}

TEST_P(SoundServerTest, PlaysToTheEndThroughAnEffectWhatAnExportHoldsAndTellsWhereItIs)
{
    AVAudioUnitTimePitch effect;
    ASSERT_EQ(effect.setRate(0.8F), noErr);
    ASSERT_EQ(effect.setPitch(300), noErr);
    player->setEffect(effect.audioUnit());
    load({.frames = 44100});
    const auto exported = temporaryPath("effect.aiff");
    ASSERT_TRUE(exportRange(player, exported).completed);
    std::vector<int16_t> written;
    for (const int64_t frame : indicesOf(exported))
        written.insert(written.end(), {static_cast<int16_t>(frame & 0xffff), static_cast<int16_t>(frame >> 16)});

    player->setLoop(false);
    player->setPositionInFrame(0);
    const MonitorRecorder recorder("kx1");
    player->play();
    int64_t last = 0;
    ASSERT_TRUE(eventually([&] {
        const int64_t frame = player->heardFrame().frame;
        EXPECT_LE(std::exchange(last, frame), frame);
        return !player->isPlaying() && frame == 44100;
    }));
    const auto wanted = withoutSilence(written);
    EXPECT_TRUE(samplesOnce(recorder, wanted.size()) == wanted);

    player->setEffectMode(KXAEffectModeNone);
    player->setOutputDeviceID(deviceWithUID("kx3"));
    player->setPositionInFrame(0);
    const MonitorRecorder other("kx3", 48000);
    player->play();
    EXPECT_NEAR(static_cast<double>(samplesOnce(other, 2 * 47990).size()) / 2, 48000, 200)
        << "one second stays one second at another rate";
}

TEST_P(SoundServerTest, BusyProcessorsKeepNothingFromBeingHeard)
{
    std::vector<std::jthread> hogs;
    for (unsigned i = 0; i < 2 * std::thread::hardware_concurrency(); ++i)
        hogs.emplace_back([](const std::stop_token &stop) {
            while (!stop.stop_requested()) {
            }
        });
    const MonitorRecorder recorder("kx1");
    player->play();
    const auto heard = numbersOnce(recorder, 3 * 44100);
    EXPECT_EQ(get<uint64_t>(player->outputUnit(), kAudioOutputUnitProperty_Underruns, kAudioUnitScope_Global), 0U);
    hogs.clear();
    expectPasses(heard, 3 * 44100, heard[0], 1, kFrames);
}

TEST_P(SoundServerTest, AServerThatHangsHoldsNobodyUp)
{
    const auto useAll = [&] {
        for (const auto &[what, call] : std::initializer_list<std::pair<const char *, std::function<void()>>>{
                 {"ask",
                  [&] {
                      EXPECT_GT(KXAHardwareManager::numberOfDevices(), 0);
                      EXPECT_GT(player->heardFrame().frame, 0);
                  }},
                 {"stop", [&] { player->stop(); }},
                 {"play", [&] { player->play(); }},
                 {"jump", [&] { player->setPositionInFrame(44100); }},
                 {"move", [&] { player->setOutputDeviceID(deviceWithUID("kx2")); }},
                 {"play there", [&] { player->play(); }},
                 {"end", [&] { player.reset(); }},
                 {"new", [&] { player = KXAFilePlayer::player(); }},
                 {"load", [&] { load(indexed(kFrames)); }},
                 {"play again", [&] { player->play(); }},
             }) {
            const Deadline deadline(std::chrono::seconds(5)); // the library itself would wait for 30
            call();
            EXPECT_FALSE(deadline.passed()) << what;
        }
        EXPECT_TRUE(player->isPlaying());
    };
    player->play();
    numbersOnce(MonitorRecorder("kx1"), 8000);
    server().freeze();
    useAll();
    server().thaw();
    numbersOnce(MonitorRecorder("kx1"), 8000);
    if (GetParam() == ServerKind::PipeWire) {
        server().killSessionManager(); // streams are accepted and linked to nothing
        useAll();
        server().kill();
        server().start();
        numbersOnce(MonitorRecorder("kx1"), 8000);
    }
}

INSTANTIATE_TEST_SUITE_P(Servers, SoundServerTest, testing::Values(ServerKind::PulseAudio, ServerKind::PipeWire),
                         nameOf);

} // namespace
} // namespace kx::test
