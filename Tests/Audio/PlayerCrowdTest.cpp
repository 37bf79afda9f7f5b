// Many players at once in real time. KX_CROWD_SECONDS makes it longer than the few seconds of every run.
#include "KXFW/Audio/KXAHardwareManager.h"
#include "Tests/Audio/PlayerFixture.h"

#include <cstdlib>
#include <map>

namespace kx::test
{
namespace
{

TEST(PlayerCrowd, SixteenPlayersInRealTimeEachPlayTheirFile)
{
    constexpr std::size_t kPlayers = 16;
    const char *const wanted = std::getenv("KX_CROWD_SECONDS");
    const int64_t seconds = wanted == nullptr ? 3 : std::strtol(wanted, nullptr, 10);
    struct Heard {
        std::atomic<int64_t> frames{0};
        std::atomic<int64_t> firstWrong{-1};
    };
    std::map<std::string, Heard> heard; // by device; not changed while players play
    std::vector<VirtualDevice> devices;
    for (std::size_t i = 0; i < kPlayers; ++i) {
        devices.push_back({.name = "device " + std::to_string(i)});
        heard[devices.back().name];
    }
    ScopedVirtualHardware hardware(VirtualClock::RealTime, devices);
    hardware->setCapture([&](const std::string &device, std::span<const std::byte> bytes) {
        Heard &here = heard.at(device);
        const auto *samples = reinterpret_cast<const int16_t *>(bytes.data());
        for (std::size_t i = 0; i + 1 < bytes.size() / 2; i += 2)
            if (indexOf(samples[i], samples[i + 1]) != here.frames++ && here.firstWrong < 0)
                here.firstWrong = here.frames - 1;
    });
    const auto file = make(indexed((seconds + 20) * 44100));
    std::vector<std::shared_ptr<KXAFilePlayer>> players;
    for (const VirtualDevice &device : devices) {
        players.push_back(KXAFilePlayer::player());
        ASSERT_TRUE(players.back()->loadFileAtURL(file));
        ASSERT_TRUE(players.back()->setOutputDeviceID(KXAHardwareManager::deviceIDNamed(device.name)));
    }
    for (const auto &player : players)
        player->play();
    EXPECT_TRUE(eventually(
        [&] { // all of them, each by its own clock
            return std::ranges::all_of(heard, [&](const auto &each) { return each.second.frames >= seconds * 44100; });
        },
        std::chrono::seconds(seconds) + kHangDeadline));
    uint64_t underruns = 0;
    for (const auto &player : players) {
        uint64_t its = 0;
        uint32_t size = sizeof its;
        AudioUnitGetProperty(player->outputUnit(), kAudioOutputUnitProperty_Underruns, kAudioUnitScope_Global, 0, &its,
                             &size);
        underruns += its;
        player->stop();
    }
    EXPECT_LE(underruns, kPlayers) << "threads without a priority: a loaded machine may keep each from a deadline";
    for (const auto &[name, its] : heard)
        EXPECT_EQ(its.firstWrong, -1) << name;
}

} // namespace
} // namespace kx::test
