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
    const char *const wanted = std::getenv("KX_CROWD_SECONDS");
    const int64_t seconds = wanted == nullptr ? 3 : std::strtol(wanted, nullptr, 10);
    std::vector<VirtualDevice> devices(16);
    std::map<std::string, std::vector<int64_t>> heard; // by device; each thread has its own
    for (VirtualDevice &device : devices)
        heard[device.name = "device " + std::to_string(heard.size())];
    std::atomic<std::size_t> ready = 0;
    const ScopedVirtualHardware hardware(VirtualClock::RealTime, devices);
    VirtualHardware::instance().setCapture([&](const std::string &device, std::span<const std::byte> bytes) {
        std::vector<int64_t> &numbers = heard.at(device);
        const auto enough = static_cast<std::size_t>(seconds * 44100);
        const bool was = numbers.size() >= enough;
        appendIndices(bytes, numbers);
        ready += !was && numbers.size() >= enough ? 1 : 0;
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
    EXPECT_TRUE(eventually([&] { return ready == devices.size(); }, std::chrono::seconds(seconds) + kHangDeadline));
    uint64_t underruns = 0;
    for (const auto &player : players) {
        underruns += player->underruns();
        player->stop();
    }
    EXPECT_LE(underruns, players.size())
        << "a loaded machine may keep each thread, without a priority, from a deadline";
    for (const auto &[name, numbers] : heard)
        for (std::size_t i = 0; i < numbers.size(); ++i)
            ASSERT_EQ(numbers[i], i) << name;
}

} // namespace
} // namespace kx::test
