/// @file
/// kxsoak HOURS [SEED]: plays that many hours of audio as fast as they can be made, with random operations in between.
/// Each frame says its own number, so that every one is checked: it follows the one before, or it is where a wrap or a
/// jump leads. Memory, descriptors and threads stay what they were. Exit status 0, or 1 with a line on what went wrong.
#include "KXFW/KXFW.h"
#include "Tests/Support/Handshake.h"
#include "Tests/Support/Media.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <functional>
#include <mutex>
#include <optional>
#include <random>
#include <stdexcept>
#include <utility>

namespace
{

using kx::VirtualHardware;
using kx::test::MediaSpec;

constexpr int64_t kRate = 44100;
constexpr int64_t kFrames = 600 * kRate;     ///< of the file
constexpr int64_t kLongestStep = 20 * kRate; ///< between two operations
constexpr int64_t kStepBack = 16384;         ///< a new device may play again what the old one had not finished
constexpr int64_t kAIFFHeader = 54;          ///< bytes
constexpr auto kHang = std::chrono::seconds(30);

struct Usage {
    int64_t kilobytes = 0; ///< resident
    int64_t threads = 0;
    int64_t descriptors = 0;
};

Usage usage()
{
    Usage now;
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:")
            status >> now.kilobytes;
        else if (word == "Threads:")
            status >> now.threads;
    }
    now.descriptors = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
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
        const auto *samples = reinterpret_cast<const int16_t *>(bytes.data());
        for (std::size_t i = 0; i + 1 < bytes.size() / 2; i += 2)
            follow(kx::test::indexOf(samples[i], samples[i + 1]));
        heard_ += static_cast<int64_t>(bytes.size() / 4);
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
    /// Whether frames are checked: not through an effect.
    void check(bool checks)
    {
        const std::lock_guard guard(lock_);
        checks_ = checks;
        last_ = -1;
        jump_.reset(); // one that was not heard yet is not seen from here on
    }
    /// Waits until `frames` more were heard, and the jump among them; false if they do not come.
    bool await(int64_t frames)
    {
        std::unique_lock guard(lock_);
        const int64_t target = heard_ + frames;
        return changed_.wait_for(guard, kHang, [&] { return (heard_ >= target && !jump_) || !fault_.empty(); });
    }
    std::string fault()
    {
        const std::lock_guard guard(lock_);
        return fault_;
    }
    int64_t heard()
    {
        const std::lock_guard guard(lock_);
        return heard_;
    }

private:
    void follow(int64_t frame)
    {
        if (!checks_ || !fault_.empty())
            return;
        const int64_t last = std::exchange(last_, frame);
        if (last >= 0 && frame == last + 1)
            return;
        if (jump_ == frame) {
            jump_.reset();
            return;
        }
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
    std::deque<Range> ranges_{{0, kFrames}};
    std::optional<int64_t> jump_;
    bool mayStepBack_ = false;
    bool checks_ = true;
    int64_t last_ = -1;
    int64_t heard_ = 0;
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

    int64_t heard() { return listener_.heard(); }

private:
    int64_t upTo(int64_t most) { return std::uniform_int_distribution<int64_t>(0, most)(random_); }

    [[noreturn]] void fail(const std::string &what) const
    {
        throw std::runtime_error("operation " + std::to_string(operation_) + ": " + what);
    }

    void go(int64_t frames)
    {
        if (!listener_.await(frames))
            fail("the sound stands still at frame " + std::to_string(player_->frameOffset()) +
                 (player_->isPlaying() ? ", playing" : ", stopped"));
        if (const std::string fault = listener_.fault(); !fault.empty())
            fail(fault);
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
    void restart()
    {
        player_->stop();
        jump();
        player_->play();
    }
    void device()
    {
        listener_.expectStepBack();
        isTwo_ = !isTwo_;
        if (!player_->setOutputDeviceID(KXAHardwareManager::deviceIDNamed(isTwo_ ? "Two" : "One")))
            fail("the device is refused");
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
        player_->stop();
        player_->setEffectMode(KXAEffectModeNone);
        listener_.check(true);
        jump();
        player_->play();
    }
    void load()
    {
        if (!player_->loadFileAtURL(kx::test::make(file_)))
            fail("the file does not load");
        player_->audioData()->setDiskPatience(kx::DiskDeadline::kNone); // a busy machine is no disk that hangs
        player_->setLoop(true);
        listener_.expectJump(0, {0, kFrames});
        range_ = {0, kFrames};
    }
    void reload()
    {
        player_->stop();
        load();
        player_->play();
    }
    void exportSome()
    {
        player_->stop();
        jump();
        const int64_t frames = 512 * (1 + upTo(2 * kRate / 512 - 1)); // what a range leaves behind its start
        range();
        player_->setEndOffsetInFrame(range_.start + frames);
        const auto url = kx::test::temporaryFolder() / "soak.aiff";
        kx::test::Handshake ended;
        std::string failure;
        player_->prepareForExport();
        player_->exportAsyncWithURL(
            url, [](double) { return false; }, [&] { ended.announce(); },
            [&](const NSException &exception) {
                failure = exception.reason();
                ended.announce();
            });
        if (!ended.await() || !failure.empty())
            fail("an export does not end well: " + failure);
        const auto bytes = std::filesystem::file_size(url);
        if (bytes != static_cast<uint64_t>(frames * 4 + kAIFFHeader))
            fail("an export of " + std::to_string(frames) + " frames has " + std::to_string(bytes) + " bytes");
        range();
        player_->play();
    }

    std::mt19937 random_;
    const MediaSpec file_{.frames = kFrames, .signal = kx::test::Signal::Index};
    Listener listener_;
    std::shared_ptr<KXAFilePlayer> player_;
    Listener::Range range_{0, kFrames};
    std::size_t operation_ = 0;
    bool isTwo_ = false;
};

void requireFlat(const Usage &before, const Usage &after)
{
    // The 16 MiB of the ring count from when each page is first written, and the heap keeps some room.
    if (after.kilobytes > before.kilobytes + 32768 || after.threads > before.threads + 4 ||
        after.descriptors > before.descriptors + 4)
        throw std::runtime_error("the process grows");
}

/// Plays for `frames`; the first tenth, and 40 operations, may take what they keep.
void run(int64_t frames, uint32_t seed)
{
    Soak soak(seed);
    int operations = 0;
    for (; operations < 40 || soak.heard() < frames / 10; ++operations)
        soak.step();
    const Usage before = usage();
    for (; soak.heard() < frames; ++operations)
        soak.step();
    const Usage after = usage();
    std::printf(
        "%.2f h of audio, %d operations; memory %lld to %lld KiB, threads %lld to %lld, descriptors %lld to %lld\n",
        static_cast<double>(soak.heard()) / kRate / 3600, operations, (long long)before.kilobytes,
        (long long)after.kilobytes, (long long)before.threads, (long long)after.threads, (long long)before.descriptors,
        (long long)after.descriptors);
    requireFlat(before, after);
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
