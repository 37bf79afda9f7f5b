#include "kx/Player.h"

#include "KXFW/Audio/KXAFilePlayer.h"
#include "KXFW/Platform/Dispatch/SerialQueue.h"
#include "kx/Internal/EffectChain.h"
#include "kx/Internal/Errors.h"
#include "kx/Internal/ExportJob.h"
#include "kx/Internal/Signal.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <utility>

namespace kx
{

namespace
{

/// What the player's blocks raise: it lives as long as they do.
struct Signals {
    Signal<> ended;
    Signal<const Error &> failed;
};

std::filesystem::path pathOf(const KXAFilePlayer &player)
{
    const auto data = player.audioData();
    return data ? data->fileURL() : std::filesystem::path();
}

bool rangeIsEmpty(const KXAFilePlayer &player)
{
    return std::max<int64_t>(player.startOffsetInFrame(), 0) >=
           std::min(player.endOffsetInFrame(), player.totalPackets());
}

} // namespace

struct Player::Impl {
    std::shared_ptr<KXAFilePlayer> player = KXAFilePlayer::player();
    std::shared_ptr<Signals> signals = std::make_shared<Signals>();
    std::atomic<PlayMode> mode{PlayMode::Loop}; ///< the layer below switches the loop off while it exports

    std::mutex settingEffects; ///< one change at a time; held while effects prepare
    EffectChain chain;         ///< under settingEffects

    mutable std::mutex lock;
    std::vector<std::shared_ptr<Effect>> effects; ///< of the chain; under lock
    std::weak_ptr<Exporter::Job> job;             ///< of the export that was begun last; under lock

    Impl();
    ~Impl();
    Impl(const Impl &) = delete;
    Impl &operator=(const Impl &) = delete;

    [[nodiscard]] Error error(ErrorCode code, std::string reason) const;
    [[nodiscard]] Error refusal() const;
    void requireInFile(bool isInFile, const std::string &what) const;
    template <class Operation> Result<> attempt(Operation operation) const;
    Result<> use(const EffectChain &wanted);
    std::weak_ptr<Exporter::Job> exchangeJob(std::weak_ptr<Exporter::Job> begun);
    void stop() noexcept;
};

Player::Impl::Impl()
{
    player->setKeepsVolume(true);
    player->setPlaybackEndedBlock([signals = signals] { signals->ended.raise(); });
    player->setPlaybackFailureBlock([signals = signals](KXAFilePlayer &failing, const NSException &exception) {
        signals->failed.raise(errorOf(exception, pathOf(failing)));
    });
}

/// An export, and a tick of the timer, hold the player in the layer below a little longer; the effects are free now.
Player::Impl::~Impl()
{
    if (const auto exporting = exchangeJob({}).lock()) {
        exporting->giveUp();
        (void)exporting->wait();
    }
    stop();
    if (chain.audioUnit()) // else there is nothing to build anew
        (void)attempt([&] { return player->setEffect(nullptr, KXAEffectModeNone); });
}

Error Player::Impl::error(ErrorCode code, std::string reason) const
{
    return {code, std::move(reason), pathOf(*player)};
}

/// What an operation that was refused tells: there is no other reason.
Error Player::Impl::refusal() const
{
    return player->audioData() ? error(ErrorCode::Busy, "an export is running")
                               : error(ErrorCode::NoFile, "no file is loaded");
}

void Player::Impl::requireInFile(bool isInFile, const std::string &what) const
{
    if (player->audioData() && !isInFile)
        throw Exception(
            error(ErrorCode::InvalidArgument, what + " of its " + std::to_string(player->totalPackets()) + " frames"));
}

/// Runs an operation that tells whether it was done.
template <class Operation> Result<> Player::Impl::attempt(Operation operation) const
{
    return caught(pathOf(*player), [&]() -> Result<> {
        if (operation())
            return {};
        return refusal();
    });
}

/// Plays through `wanted`, or on through the chain of before where that fails.
Result<> Player::Impl::use(const EffectChain &wanted)
{
    const auto set = [&](AudioUnit unit) {
        return player->setEffect(unit, unit ? KXAEffectModeAU : KXAEffectModeNone);
    };
    Result<> result = attempt([&] { return set(wanted.audioUnit()); });
    if (!result && result.error().code != ErrorCode::Busy)
        (void)attempt([&] { return set(chain.audioUnit()); });
    return result;
}

std::weak_ptr<Exporter::Job> Player::Impl::exchangeJob(std::weak_ptr<Exporter::Job> begun)
{
    const std::lock_guard guard(lock);
    return std::exchange(job, std::move(begun));
}

void Player::Impl::stop() noexcept
{
    try {
        player->stop();
    } catch (...) {
        NSLog("stopping failed: %@", currentExceptionText());
    }
}

Player::Player()
try : impl_(std::make_unique<Impl>()) {
} catch (...) {
    throw Exception(errorOf(std::current_exception()));
}

Player::Player(Player &&other) noexcept = default;
Player &Player::operator=(Player &&other) noexcept = default;
Player::~Player() = default;

Result<> Player::open(const std::filesystem::path &path, const std::stop_token &stop)
{
    Result<File> file = File::open(path, stop);
    return file ? load(std::move(*file)) : file.error();
}

Result<> Player::load(File file)
{
    if (file.position() != Frames(0)) // it has been read from; it is played from its start
        if (auto rewound = file.seek(Frames(0)); !rewound)
            return rewound;
    return caught(file.path(), [&]() -> Result<> {
        if (!impl_->player->loadDataSource(file.native()))
            return Error{ErrorCode::Busy, "an export is running", file.path()};
        return {};
    });
}

std::filesystem::path Player::path() const
{
    return pathOf(*impl_->player);
}

Frames Player::length() const
{
    return Frames(impl_->player->totalPackets());
}

Player::State Player::state() const noexcept
{
    const KXAFilePlayer &player = *impl_->player;
    if (player.isExporting())
        return State::Exporting;
    if (player.isPlaying())
        return State::Playing;
    return player.audioData() ? State::Stopped : State::Empty;
}

Result<> Player::play()
{
    return impl_->attempt([&] {
        KXAFilePlayer &player = *impl_->player;
        if (player.audioData() && !player.isExporting()) {
            if (rangeIsEmpty(player))
                throw Exception(impl_->error(ErrorCode::InvalidArgument, "the range is empty"));
            if (player.outputDeviceID() == 0)
                throw Exception(impl_->error(ErrorCode::NoDevice, "there is no output device"));
        }
        return player.play();
    });
}

void Player::stop() noexcept
{
    impl_->stop();
}

Frames Player::position() const
{
    return Frames(impl_->player->frameOffset());
}

HeardFrame Player::heard() const
{
    const KXAHeardFrame heard = impl_->player->heardFrame();
    return {Frames(heard.frame),
            std::chrono::steady_clock::time_point(std::chrono::nanoseconds(static_cast<int64_t>(heard.hostTime)))};
}

Result<> Player::seek(Frames position)
{
    return impl_->attempt([&] {
        impl_->requireInFile(position >= Frames(0) && position <= length(),
                             "frame " + std::to_string(position.count()) + " is none");
        return impl_->player->setPositionInFrame(position.count());
    });
}

Range Player::range() const
{
    return {Frames(impl_->player->startOffsetInFrame()), Frames(impl_->player->endOffsetInFrame())};
}

Result<> Player::setRange(const Range &range)
{
    return impl_->attempt([&] {
        KXAFilePlayer &player = *impl_->player;
        impl_->requireInFile(range.start >= Frames(0) && range.end >= range.start && range.end <= length(),
                             "frames " + std::to_string(range.start.count()) + " to " +
                                 std::to_string(range.end.count()) + " are no part");
        return player.byteOffsetChangeQueue()->sync([&] { // exports begin, and slices take their range, on this queue
            if (player.isExporting() || !player.audioData())
                return false;
            player.setStartOffsetInFrame(range.start.count());
            player.setEndOffsetInFrame(range.end.count());
            return true;
        });
    });
}

PlayMode Player::playMode() const noexcept
{
    return impl_->mode;
}

/// In this order nobody hears what lies behind the range.
Result<> Player::setPlayMode(PlayMode mode)
{
    return impl_->attempt([&] {
        KXAFilePlayer &player = *impl_->player;
        const bool once = player.playsRangeOnce();
        player.setPlaysRangeOnce(once || mode == PlayMode::RangeOnce);
        const bool isSet = player.setLoop(mode == PlayMode::Loop);
        player.setPlaysRangeOnce(isSet ? mode == PlayMode::RangeOnce : once);
        if (isSet)
            impl_->mode = mode;
        return isSet;
    });
}

Subscription Player::onEnded(std::function<void()> listener)
{
    return impl_->signals->ended.subscribe(std::move(listener));
}

Subscription Player::onFailed(std::function<void(const Error &)> listener)
{
    return impl_->signals->failed.subscribe(std::move(listener));
}

float Player::volume() const
{
    return std::clamp(impl_->player->volume(), 0.0F, 1.0F);
}

Result<> Player::setVolume(float gain)
{
    if (std::isnan(gain))
        return Error{ErrorCode::InvalidArgument, "a volume is a number", {}};
    return caught({}, [&]() -> Result<> {
        impl_->player->setVolume(std::clamp(gain, 0.0F, 1.0F));
        return {};
    });
}

Result<> Player::setEffects(std::vector<std::shared_ptr<Effect>> effects)
{
    EffectChain old; // goes when no lock is held: effects may end with it
    return caught(path(), [&]() -> Result<> {
        const std::lock_guard guard(impl_->settingEffects);
        auto made = EffectChain::make(std::move(effects), impl_->chain);
        if (!made)
            return made.error();
        if (auto used = impl_->use(*made); !used)
            return used;
        old = std::exchange(impl_->chain, *std::move(made));
        const std::lock_guard publishing(impl_->lock);
        impl_->effects = impl_->chain.effects();
        return {};
    });
}

std::vector<std::shared_ptr<Effect>> Player::effects() const
{
    const std::lock_guard guard(impl_->lock);
    return impl_->effects;
}

DeviceID Player::outputDevice() const noexcept
{
    return impl_->player->outputDeviceID();
}

Result<> Player::setOutputDevice(DeviceID device)
{
    return caught({}, [&]() -> Result<> {
        KXAFilePlayer &player = *impl_->player;
        const bool follows = player.followsDefaultOutput();
        player.setFollowsDefaultOutput(device == 0); // first: a change of the default must not take it away again
        try {
            player.setOutputDeviceID(device);
        } catch (...) {
            player.setFollowsDefaultOutput(follows);
            throw;
        }
        return {};
    });
}

std::uint64_t Player::underruns() const
{
    return impl_->player->underruns();
}

Result<Exporter> Player::exportRange(const std::filesystem::path &destination, const ExportOptions &options)
{
    return caught(destination, [&]() -> Result<Exporter> {
        const auto job = std::make_shared<Exporter::Job>(path(), destination);
        auto before = impl_->exchangeJob(job); // before it begins: the end of the player gives it up
        if (impl_->player->exportAsyncWithURL(
                destination, [job](double percent) { return job->tellProgress(percent); }, [job] { job->complete(); },
                [job](const NSException &exception) { job->fail(exception); },
                {.fromRangeStart = true, .exactFrames = options.exactFrames}))
            return Exporter(job);
        impl_->exchangeJob(std::move(before));
        const Error error = job->wait().error();
        return error.code == ErrorCode::Busy ? impl_->refusal() : error;
    });
}

const std::shared_ptr<KXAFilePlayer> &Player::native() const noexcept
{
    return impl_->player;
}

} // namespace kx
