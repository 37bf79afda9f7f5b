/// @file
/// kxsoak HOURS [SEED]: plays that many hours of audio as fast as they can be made, with random operations in between.
/// Each frame says its own number, so that every one is checked: it follows the one before, or it is where a wrap or a
/// jump leads. Memory, descriptors and threads stay what they were. Exit status 0, or 1 with a line on what went wrong.
#include "KXFW/KXFW.h"
#include "Tests/Audio/PlayerFixture.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <random>
#include <stdexcept>

namespace
{

using kx::VirtualHardware;

constexpr int64_t kRate = 44100;
constexpr int64_t kFrames = 600 * kRate;     ///< of the file
constexpr int64_t kLongestStep = 20 * kRate; ///< between two operations
constexpr int64_t kStepBack = 16384;         ///< a new device may play again what the old one had not finished
constexpr auto kHang = std::chrono::seconds(30);

/// Resident kilobytes, threads and open descriptors.
std::array<int64_t, 3> usage()
{
    std::array<int64_t, 3> now{};
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (word == "VmRSS:" || word == "Threads:")
            status >> now[word == "VmRSS:" ? 0 : 1];
    now[2] = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    return now;
}

/// Follows what the device gets, frame by frame.
class Listener
{
public:
    struct Range {
        int64_t start;
        int64_t end;
    };

    void hear(std::span<const std::byte> bytes)
    {
        const std::lock_guard guard(lock_);
        std::vector<int64_t> frames;
        kx::test::appendIndices(bytes, frames);
        std::ranges::for_each(frames, [this](int64_t frame) { follow(frame); });
        heard_ += std::ssize(frames);
        changed_.notify_all();
    }

    /// From here on a jump to `frame`, with `range` around, may be heard; once it is, nothing else may.
    void expectJump(int64_t frame, Range range)
    {
        const std::lock_guard guard(lock_);
        jump_ = frame;
        ranges_ = {ranges_.back(), range};
    }
    /// A new device goes on from what was heard of the old one.
    void expectStepBack()
    {
        const std::lock_guard guard(lock_);
        mayStepBack_ = true;
    }
    /// Whether frames are checked: not through an effect. A jump that was not heard yet is not seen from here on.
    void check(bool checks)
    {
        const std::lock_guard guard(lock_);
        checks_ = checks;
        last_ = -1;
        jump_.reset();
    }
    /// Waits until `frames` more were heard, and the jump among them; what is wrong, if anything.
    std::string await(int64_t frames)
    {
        std::unique_lock guard(lock_);
        const int64_t target = heard_ + frames;
        if (changed_.wait_for(guard, kHang, [&] { return (heard_ >= target && !jump_) || !fault_.empty(); }))
            return fault_;
        return "the sound stands still behind frame " + std::to_string(last_);
    }
    [[nodiscard]] int64_t heard() const { return heard_; }

private:
    void follow(int64_t frame)
    {
        if (!checks_ || !fault_.empty())
            return;
        const int64_t last = std::exchange(last_, frame);
        if (last >= 0 && frame == last + 1)
            return;
        if (jump_ == frame)
            return jump_.reset();
        // Where a range ends, and where a new one does not hold the place, its start follows.
        const auto wraps = [&](const Range &range) {
            return frame == range.start && (last + 1 < range.start || last + 1 >= range.end);
        };
        if (std::any_of(ranges_.begin(), ranges_.end(), wraps))
            return;
        if (mayStepBack_ && frame <= last && last - frame < kStepBack)
            return void(mayStepBack_ = false);
        fault_ = "frame " + std::to_string(frame) + " is heard after " + std::to_string(last);
    }

    std::mutex lock_;
    std::condition_variable changed_;
    std::array<Range, 2> ranges_{}; ///< the one before, and the one of now
    std::optional<int64_t> jump_;
    bool mayStepBack_ = false;
    bool checks_ = true;
    int64_t last_ = -1;
    std::atomic<int64_t> heard_{0};
    std::string fault_;
};

class Soak
{
public:
    explicit Soak(uint32_t seed) : random_(seed)
    {
        auto &hardware = VirtualHardware::instance();
        hardware.setClock(kx::VirtualClock::FlatOut);
        hardware.setDevices({{"One"}, {"Two"}});
        hardware.setCapture([this](const std::string &, std::span<const std::byte> bytes) { listener_.hear(bytes); });
        player_ = KXAFilePlayer::player();
        player_->setFollowsDefaultOutput(false);
        load();
        player_->play();
        go(1); // a jump is expected from what has been heard
    }
    ~Soak()
    {
        player_->stop();
        VirtualHardware::instance().setCapture(nullptr);
    }
    Soak(const Soak &) = delete;
    Soak &operator=(const Soak &) = delete;

    /// One operation and what is heard after it.
    void step()
    {
        static constexpr std::array<void (Soak::*)(), 7> operations{
            &Soak::jump, &Soak::range, &Soak::restart, &Soak::device, &Soak::effect, &Soak::reload, &Soak::exportSome};
        operation_ = random_() % operations.size();
        (this->*operations[operation_])();
        go(1 + upTo(kLongestStep));
    }

    [[nodiscard]] int64_t heard() const { return listener_.heard(); }

private:
    int64_t upTo(int64_t most) { return std::uniform_int_distribution<int64_t>(0, most)(random_); }

    void require(bool holds, const std::string &what) const
    {
        if (!holds)
            throw std::runtime_error("operation " + std::to_string(operation_) + ": " + what);
    }

    void go(int64_t frames)
    {
        const std::string fault = listener_.await(frames);
        require(fault.empty(), fault);
    }

    void jumpTo(int64_t frame, Listener::Range range)
    {
        listener_.expectJump(frame, range);
        range_ = range;
        player_->setOffsetFramesPlay(frame, range.start, range.end);
    }
    void jump() { jumpTo(range_.start + upTo(range_.end - range_.start - 1), range_); }
    void range()
    {
        const int64_t start = upTo(kFrames - 2 * kRate);
        const int64_t end = start + kRate + upTo(kFrames - start - kRate);
        jumpTo(start + upTo(end - start - 1), {start, end});
    }
    void whileStopped(const std::function<void()> &change)
    {
        player_->stop();
        change();
        player_->play();
    }
    void restart()
    {
        whileStopped([this] { jump(); });
    }
    void reload()
    {
        whileStopped([this] { load(); });
    }
    void device()
    {
        listener_.expectStepBack();
        isTwo_ = !isTwo_;
        player_->setOutputDeviceID(KXAHardwareManager::deviceIDNamed(isTwo_ ? "Two" : "One"));
        player_->play();
    }
    void effect()
    {
        listener_.check(false);
        AVAudioUnitTimePitch unit;
        unit.setRate(0.25F + static_cast<float>(upTo(375)) / 100);
        unit.setPitch(static_cast<float>(upTo(4800) - 2400));
        player_->setEffect(unit.audioUnit());
        player_->setEffectMode(KXAEffectModeAU);
        go(upTo(kLongestStep));
        whileStopped([this] {
            player_->setEffectMode(KXAEffectModeNone);
            listener_.check(true);
            jump();
        });
    }
    void load()
    {
        require(player_->loadFileAtURL(kx::test::make(kx::test::indexed(kFrames))), "the file does not load");
        player_->audioData()->setDiskPatience(kx::DiskDeadline::kNone); // a busy machine is no disk that hangs
        player_->setLoop(true);
        listener_.expectJump(0, {0, kFrames});
        range_ = {0, kFrames};
    }
    void exportSome()
    {
        player_->stop();
        jump();
        const int64_t frames = 512 * (1 + upTo(2 * kRate / 512 - 1)); // what a range leaves behind its start
        range();
        player_->setEndOffsetInFrame(range_.start + frames);
        player_->prepareForExport();
        const auto url = kx::test::temporaryFolder() / "soak.aiff";
        const kx::test::Outcome outcome = kx::test::exportRange(player_, url);
        require(outcome.completed, "an export does not end well: " + outcome.failure);
        const auto written = kx::test::indicesOf(url);
        require(std::ssize(written) == frames && written.front() == range_.start, "an export is not its range");
        range();
        player_->play();
    }

    std::mt19937 random_;
    Listener listener_;
    std::shared_ptr<KXAFilePlayer> player_;
    Listener::Range range_{0, kFrames};
    std::size_t operation_ = 0;
    bool isTwo_ = false;
};

/// Plays for `frames`; the first tenth, and 40 operations, may take what they keep.
void run(int64_t frames, uint32_t seed)
{
    Soak soak(seed);
    for (int operations = 0; operations < 40 || soak.heard() < frames / 10; ++operations)
        soak.step();
    const auto before = usage();
    while (soak.heard() < frames)
        soak.step();
    const auto after = usage();
    // The 16 MiB of the ring count from when each page is first written, and the heap keeps some room.
    constexpr std::array<int64_t, 3> kMayGrow{32768, 4, 4};
    constexpr std::array kNames{"KiB of memory", "threads", "descriptors"};
    std::printf("%.2f h of audio", static_cast<double>(soak.heard()) / kRate / 3600);
    for (std::size_t i = 0; i < after.size(); ++i)
        std::printf("; %s: %lld to %lld", kNames[i], (long long)before[i], (long long)after[i]);
    std::puts("");
    for (std::size_t i = 0; i < after.size(); ++i)
        if (after[i] > before[i] + kMayGrow[i])
            throw std::runtime_error(std::string("the process grows: ") + kNames[i]);
}

} // namespace

int main(int argc, char **argv)
{
    setenv("KXFW_AUDIO_BACKEND", "virtual", 1);
    const double hours = argc > 1 ? std::atof(argv[1]) : 0.5;
    const uint32_t seed = argc > 2 ? static_cast<uint32_t>(std::atol(argv[2])) : std::random_device{}();
    std::printf("seed %u\n", seed);
    std::fflush(stdout);
    try {
        run(static_cast<int64_t>(hours * 3600 * kRate), seed);
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "kxsoak: seed %u: %s\n", seed, error.what());
    }
    return 1;
}
