// The player on a real sound server: what its null sinks play is recorded and compared with the file.
#include "KXFW/Audio/KXAFilePlayer.h"
#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Platform/AudioUnits/AVAudioUnitTimePitch.h"
#include "Tests/Audio/AudioDataFixtures.h"
#include "Tests/Support/Eventually.h"
#include "Tests/Support/MonitorRecorder.h"
#include "Tests/Support/PulseServer.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <thread>
#include <utility>

namespace kx::test
{
namespace
{

[[maybe_unused]] const int chosen = unsetenv("KXFW_AUDIO_BACKEND"); // a server is found, whenever it comes

/// One server at a time, as the hardware service is one for the process; it goes over from one kind to the other.
PulseServer &server(ServerKind kind)
{
    static std::unique_ptr<PulseServer> running;
    static ServerKind its{};
    if (!running || std::exchange(its, kind) != kind) {
        running.reset();
        running = std::make_unique<PulseServer>(std::vector<PulseSink>{{"kx1"}, {"kx2"}, {"kx3", 48000}}, kind);
        its = kind;
    }
    return *running;
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
    for (std::size_t i = 0; i + 1 < samples.size(); i += 2)
        if (const int64_t number = indexOf(samples[i], samples[i + 1]); number != 0)
            numbers.push_back(number);
    return numbers;
}

/// What a sink played once more than `count` numbers, or samples other than 0, have been recorded.
std::vector<int64_t> numbersOnce(const MonitorRecorder &recorder, std::size_t count)
{
    EXPECT_TRUE(recorder.waitUntil([&](const auto &all) { return numbersIn(all).size() > count; }));
    return numbersIn(recorder.samples());
}

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
    SoundServerTest()
    {
        server().setDefaultSink("kx1");
        EXPECT_TRUE(eventually([] { return deviceWithUID("kx1") && deviceWithUID("kx3"); }));
        EXPECT_TRUE(eventually([] { return KXAHardwareManager::defaultOutputDeviceID() == deviceWithUID("kx1"); }));
        player = KXAFilePlayer::player();
        load(indexed(kFrames));
        player->setOffsetFramesPlay(1, 1, kFrames);
    }

    static PulseServer &server() { return test::server(GetParam()); }
    void load(const MediaSpec &spec) { ASSERT_TRUE(player->loadFileAtURL(make(spec))); }

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
    EXPECT_LE(lost, GetParam() == ServerKind::PulseAudio ? 0 : kChanges * 128) << "lost";
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

TEST_P(SoundServerTest, PlaysToADeviceOfAnotherRate)
{
    load({.frames = 44100});
    player->setOutputDeviceID(deviceWithUID("kx3"));
    player->setLoop(false);
    const MonitorRecorder recorder("kx3", 48000);
    player->play();
    EXPECT_NEAR(static_cast<double>(samplesOnce(recorder, 2 * 47990).size()) / 2, 48000, 200)
        << "one second stays one second";
}

TEST_P(SoundServerTest, PlaysToTheEndThroughAnEffectWhatAnExportHoldsAndTellsWhereItIs)
{
    AVAudioUnitTimePitch effect;
    ASSERT_EQ(effect.setRate(0.8F), noErr);
    ASSERT_EQ(effect.setPitch(300), noErr);
    player->setEffect(effect.audioUnit());
    load({.frames = 44100});
    const auto exported = temporaryPath("effect.aiff");
    Handshake ended;
    player->prepareForExport();
    player->exportAsyncWithURL(
        exported, {}, [&] { ended.announce(); }, [&](const NSException &) { ADD_FAILURE() << "failed"; });
    ASSERT_TRUE(ended.await());
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
}

TEST_P(SoundServerTest, BusyProcessorsKeepNothingFromBeingHeard)
{
    std::atomic<bool> done{false};
    std::vector<std::jthread> hogs;
    for (unsigned i = 0; i < 2 * std::thread::hardware_concurrency(); ++i)
        hogs.emplace_back([&done] {
            while (!done) {
            }
        });
    const MonitorRecorder recorder("kx1");
    player->play();
    const auto heard = numbersOnce(recorder, 3 * 44100);
    uint64_t underruns = 0;
    uint32_t size = sizeof underruns;
    AudioUnitGetProperty(player->outputUnit(), kAudioOutputUnitProperty_Underruns, kAudioUnitScope_Global, 0,
                         &underruns, &size);
    done = true;
    expectPasses(heard, 3 * 44100, heard[0], 1, kFrames);
    EXPECT_EQ(underruns, 0U);
}

TEST_P(SoundServerTest, AServerThatHangsHoldsNobodyUp)
{
    const auto took = [](const char *what, auto call) {
        const auto begin = std::chrono::steady_clock::now();
        call();
        const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
        EXPECT_LT(seconds.count(), 5) << what << ": the library itself would wait for 30 seconds";
    };
    const auto useAll = [&] {
        took("ask", [&] {
            EXPECT_GT(KXAHardwareManager::numberOfDevices(), 0);
            EXPECT_GT(player->heardFrame().frame, 0);
        });
        took("stop", [&] { player->stop(); });
        took("play", [&] { player->play(); });
        took("jump", [&] { player->setPositionInFrame(44100); });
        took("move", [&] { player->setOutputDeviceID(deviceWithUID("kx2")); });
        took("play there", [&] { player->play(); });
        took("end", [&] { player.reset(); });
        took("new", [&] { player = KXAFilePlayer::player(); });
        load(indexed(kFrames));
        took("play again", [&] { player->play(); });
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
