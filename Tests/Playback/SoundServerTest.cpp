// The player on a real sound server: what its null sinks play is recorded and compared with the file.
#include "KXFW/Audio/KXAFilePlayer.h"
#include "KXFW/Audio/KXAHardwareManager.h"
#include "KXFW/Platform/AudioUnits/AVAudioUnitTimePitch.h"
#include "Tests/Audio/AudioDataFixtures.h"
#include "Tests/Support/Handshake.h"
#include "Tests/Support/MonitorRecorder.h"
#include "Tests/Support/PulseServer.h"

#include <cstdlib>
#include <thread>

using namespace kx::test;

namespace
{

[[maybe_unused]] const int chosen = setenv("KXFW_AUDIO_BACKEND", "pulse", 1);

/// One server for the process, as the hardware service is one for the process.
PulseServer &server()
{
    static PulseServer running({{"kx1"}, {"kx2"}, {"kx3", 48000}});
    return running;
}

template <class Condition> bool eventually(Condition reached)
{
    const auto end = std::chrono::steady_clock::now() + kHangDeadline;
    while (!reached()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::yield();
    }
    return true;
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

class SoundServerTest : public testing::Test
{
protected:
    SoundServerTest()
    {
        server().setDefaultSink("kx1");
        EXPECT_TRUE(eventually([] { return deviceWithUID("kx1") && deviceWithUID("kx3"); }));
        EXPECT_TRUE(eventually([] { return KXAHardwareManager::defaultOutputDeviceID() == deviceWithUID("kx1"); }));
        player = KXAFilePlayer::player();
        EXPECT_TRUE(player->loadFileAtURL(make({.frames = kFrames, .signal = Signal::Index})));
    }

    bool isPlayingOn(const std::string &uid)
    {
        return eventually([&] {
            return deviceWithUID(uid) != 0 && player->outputDeviceID() == deviceWithUID(uid) && player->isPlaying();
        });
    }

    static constexpr int64_t kFrames = 4'000'000;
    std::shared_ptr<KXAFilePlayer> player;
};

TEST_F(SoundServerTest, PlaysAFileBitForBitAndTheTailIsHeard)
{
    const MediaSpec spec{.frames = 30000, .signal = Signal::Noise};
    ASSERT_TRUE(player->loadFileAtURL(make(spec)));
    player->setLoop(false);
    const MonitorRecorder recorder("kx1");
    player->play();
    const auto source = samples(spec);
    ASSERT_TRUE(recorder.waitUntil([&](const auto &all) { return withoutSilence(all).size() >= source.size() - 2; }));
    auto heard = withoutSilence(recorder.samples());
    const std::vector<int16_t> wanted(source.begin(), source.end());
    EXPECT_TRUE(heard == withoutSilence(wanted)) << heard.size() << " of " << wanted.size() << " samples";
    EXPECT_TRUE(eventually([&] { return !player->isPlaying(); }));
}

TEST_F(SoundServerTest, LoopsWithoutAGapBitForBit)
{
    player->setOffsetFramesPlay(1000, 1000, 6000);
    const MonitorRecorder recorder("kx1");
    player->play();
    ASSERT_TRUE(recorder.waitUntil([](const auto &all) { return numbersIn(all).size() >= 20000; }));
    player->stop();
    const auto heard = numbersIn(recorder.samples());
    ASSERT_EQ(heard[0], 1000);
    for (std::size_t i = 1; i < 20000; ++i)
        ASSERT_EQ(heard[i], heard[i - 1] == 5999 ? 1000 : heard[i - 1] + 1) << "frame " << i;
}

TEST_F(SoundServerTest, FollowsTheDefaultSinkWhilePlaying)
{
    const MonitorRecorder first("kx1");
    const MonitorRecorder second("kx2");
    player->setOffsetFramesPlay(1, 1, kFrames);
    player->play();
    ASSERT_TRUE(first.waitUntil([](const auto &all) { return numbersIn(all).size() > 8000; }));
    server().setDefaultSink("kx2");
    ASSERT_TRUE(isPlayingOn("kx2"));
    ASSERT_TRUE(second.waitUntil([](const auto &all) { return numbersIn(all).size() > 8000; }));
    player->stop();
    const auto before = numbersIn(first.samples());
    const auto after = numbersIn(second.samples());
    EXPECT_GT(after[0], before.back()) << "nothing is heard twice";
    EXPECT_LT(after[0] - before.back(), 44100 / 4) << "it goes on where it was, but for what the old device held";
    for (std::size_t i = 1; i < 8000; ++i)
        ASSERT_EQ(after[i], after[i - 1] + 1);
}

TEST_F(SoundServerTest, MovesToTheDefaultWhenItsSinkIsRemoved)
{
    server().addSink({"kx4"});
    ASSERT_TRUE(eventually([] { return deviceWithUID("kx4") != 0; }));
    player->setFollowsDefaultOutput(false);
    player->setOutputDeviceID(deviceWithUID("kx4"));
    player->setOffsetFramesPlay(1, 1, kFrames);
    player->play();
    const MonitorRecorder removed("kx4");
    const MonitorRecorder remaining("kx1");
    ASSERT_TRUE(removed.waitUntil([](const auto &all) { return numbersIn(all).size() > 8000; }));
    server().removeSink("kx4");
    ASSERT_TRUE(isPlayingOn("kx1"));
    ASSERT_TRUE(remaining.waitUntil([](const auto &all) { return numbersIn(all).size() > 8000; }));
    const auto after = numbersIn(remaining.samples());
    for (std::size_t i = 1; i < 8000; ++i)
        ASSERT_EQ(after[i], after[i - 1] + 1);
}

TEST_F(SoundServerTest, PlaysToADeviceOfAnotherRate)
{
    ASSERT_TRUE(player->loadFileAtURL(make({.frames = 44100})));
    player->setOutputDeviceID(deviceWithUID("kx3"));
    player->setLoop(false);
    const MonitorRecorder recorder("kx3", 48000);
    player->play();
    ASSERT_TRUE(recorder.waitUntil([](const auto &all) { return withoutSilence(all).size() >= 2 * 47990; }));
    EXPECT_NEAR(static_cast<double>(withoutSilence(recorder.samples()).size()) / 2, 48000, 200)
        << "one second stays one second";
}

TEST_F(SoundServerTest, PlaysThroughAnEffectWhatAnExportHoldsAndTellsWhereItIs)
{
    AVAudioUnitTimePitch effect;
    ASSERT_EQ(effect.setRate(0.8F), noErr);
    ASSERT_EQ(effect.setPitch(300), noErr);
    player->setEffect(effect.audioUnit());
    ASSERT_TRUE(player->loadFileAtURL(make({.frames = 44100})));
    const auto exported = temporaryPath("effect.aiff");
    Handshake ended;
    player->prepareForExport();
    player->exportAsyncWithURL(
        exported, {}, [&] { ended.announce(); }, [&](const NSException &) { ADD_FAILURE() << "failed"; });
    ASSERT_TRUE(ended.await());
    std::vector<int16_t> written;
    for (const Frame frame : readAll(*KXAFiledAudioData2::audioDataWithContentsOfURL(exported))) {
        const int64_t packed = indexIn(frame);
        written.push_back(static_cast<int16_t>(packed & 0xffff));
        written.push_back(static_cast<int16_t>(packed >> 16));
    }

    player->setLoop(false);
    player->setPositionInFrame(0);
    const MonitorRecorder recorder("kx1");
    player->play();
    int64_t last = 0;
    ASSERT_TRUE(eventually([&] {
        const int64_t frame = player->heardFrame().frame;
        EXPECT_GE(frame, last);
        last = frame;
        return !player->isPlaying() && frame == 44100;
    }));
    const auto wanted = withoutSilence(written);
    ASSERT_TRUE(recorder.waitUntil([&](const auto &all) { return withoutSilence(all).size() >= wanted.size(); }));
    EXPECT_TRUE(withoutSilence(recorder.samples()) == wanted);
}

TEST_F(SoundServerTest, StopCutsAndIsQuiet)
{
    player->setOffsetFramesPlay(1, 1, kFrames);
    const MonitorRecorder recorder("kx1");
    player->play();
    ASSERT_TRUE(recorder.waitUntil([](const auto &all) { return numbersIn(all).size() > 8000; }));
    player->stop();
    const int64_t position = player->frameOffset();
    // What is recorded next shows that the server goes on: it is silence.
    const std::size_t count = recorder.samples().size();
    ASSERT_TRUE(recorder.waitUntil([&](const auto &all) { return all.size() > count + 2 * 22050; }));
    EXPECT_LE(numbersIn(recorder.samples()).back(), position);
    EXPECT_EQ(player->frameOffset(), position);
}

} // namespace
