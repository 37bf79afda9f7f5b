#include "kx/Player.h"

#include "KXFW/Audio/KXAFilePlayer.h"
#include "kx/Internal/EffectChain.h"
#include "kx/Internal/Errors.h"
#include "kx/Internal/ExportJob.h"
#include "kx/Internal/Signal.h"

#include <cmath>
#include <mutex>
#include <utility>

namespace kx
{

namespace
{

/// What the player's blocks use: it lives as long as they do.
class Reports
{
public:
    void fail(const NSException &exception) { failed.raise(errorOf(exception, path())); }

    [[nodiscard]] std::filesystem::path path() const
    {
        const std::lock_guard guard(lock_);
        return path_;
    }
    void setPath(std::filesystem::path path)
    {
        const std::lock_guard guard(lock_);
        path_ = std::move(path);
    }

    Signal<> ended;
    Signal<const Error &> failed;

private:
    mutable std::mutex lock_;
    std::filesystem::path path_; ///< of the loaded file
};

} // namespace

struct Player::Impl {
    std::shared_ptr<KXAFilePlayer> player = KXAFilePlayer::player();
    std::shared_ptr<Reports> reports = std::make_shared<Reports>();
    std::weak_ptr<Exporter::Job> job;
    mutable std::mutex chainLock;
    EffectChain chain; ///< under chainLock

    Impl();
    ~Impl();
    Impl(const Impl &) = delete;
    Impl &operator=(const Impl &) = delete;

    [[nodiscard]] Error error(ErrorCode code, std::string reason) const
    {
        return {code, std::move(reason), reports->path()};
    }
    /// What an operation that was refused tells.
    [[nodiscard]] Error refusal() const
    {
        return player->isExporting() ? error(ErrorCode::Busy, "an export is running")
                                     : error(ErrorCode::NoFile, "no file is loaded");
    }
    /// Runs an operation that tells whether it was done.
    template <class Operation> Result<> attempt(Operation operation) const
    {
        return caught(reports->path(), [&]() -> Result<> {
            if (operation())
                return {};
            return refusal();
        });
    }
};

Player::Impl::Impl()
{
    player->setKeepsVolume(true);
    player->setPlaybackEndedBlock([reports = reports] { reports->ended.raise(); });
    player->setPlaybackFailureBlock([reports = reports](const NSException &exception) { reports->fail(exception); });
}

/// An export holds the player in the layer below, and goes on without a player here.
Player::Impl::~Impl()
{
    if (const auto exporting = job.lock())
        exporting->cancel();
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
    const std::filesystem::path path = file.path();
    if (file.position() != Frames(0)) // it has been read from; it is played from its start
        if (auto rewound = file.seek(Frames(0)); !rewound)
            return rewound;
    return caught(path, [&]() -> Result<> {
        if (!impl_->player->loadDataSource(file.native()))
            return Error{ErrorCode::Busy, "an export is running", path};
        impl_->reports->setPath(path);
        return {};
    });
}

std::filesystem::path Player::path() const
{
    return impl_->reports->path();
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
    return caught(path(), [&]() -> Result<> {
        KXAFilePlayer &player = *impl_->player;
        if (player.audioData() && player.outputDeviceID() == 0 && !player.isExporting())
            return impl_->error(ErrorCode::NoDevice, "there is no output device");
        if (player.play())
            return {};
        if (player.audioData() && !player.isExporting())
            return impl_->error(ErrorCode::InvalidArgument, "the range is empty");
        return impl_->refusal();
    });
}

void Player::stop()
{
    impl_->player->stop();
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
    if (position < Frames(0) || position > length())
        return impl_->error(ErrorCode::InvalidArgument, "frame " + std::to_string(position.count()) +
                                                            " does not lie in its " + std::to_string(length().count()) +
                                                            " frames");
    return impl_->attempt([&] { return impl_->player->setPositionInFrame(position.count()); });
}

Range Player::range() const
{
    return {Frames(impl_->player->startOffsetInFrame()), Frames(impl_->player->endOffsetInFrame())};
}

Result<> Player::setRange(const Range &range)
{
    if (range.start < Frames(0) || range.end < range.start || range.end > length())
        return impl_->error(ErrorCode::InvalidArgument, "frames " + std::to_string(range.start.count()) + " to " +
                                                            std::to_string(range.end.count()) + " are no part of its " +
                                                            std::to_string(length().count()) + " frames");
    return impl_->attempt([&] {
        KXAFilePlayer &player = *impl_->player;
        if (player.isExporting() || !player.audioData())
            return false;
        player.setStartOffsetInFrame(range.start.count());
        player.setEndOffsetInFrame(range.end.count());
        return true;
    });
}

PlayMode Player::playMode() const noexcept
{
    const KXAFilePlayer &player = *impl_->player;
    if (player.loop())
        return PlayMode::Loop;
    return player.playsRangeOnce() ? PlayMode::RangeOnce : PlayMode::ToFileEnd;
}

Result<> Player::setPlayMode(PlayMode mode)
{
    return impl_->attempt([&] {
        KXAFilePlayer &player = *impl_->player;
        if (player.isExporting())
            return false;
        player.setPlaysRangeOnce(mode == PlayMode::RangeOnce); // first: while the loop is on, it waits
        return player.setLoop(mode == PlayMode::Loop);
    });
}

Subscription Player::onEnded(std::function<void()> listener)
{
    return impl_->reports->ended.subscribe(std::move(listener));
}

Subscription Player::onFailed(std::function<void(const Error &)> listener)
{
    return impl_->reports->failed.subscribe(std::move(listener));
}

float Player::volume() const
{
    return impl_->player->volume();
}

Result<> Player::setVolume(float gain)
{
    if (std::isnan(gain))
        return Error{ErrorCode::InvalidArgument, "a volume is a number", {}};
    return caught({}, [&]() -> Result<> {
        impl_->player->setVolume(gain);
        return {};
    });
}

Result<> Player::setEffects(std::vector<std::shared_ptr<Effect>> effects)
{
    return caught(path(), [&]() -> Result<> {
        KXAFilePlayer &player = *impl_->player;
        const std::lock_guard guard(impl_->chainLock);
        auto chain = EffectChain::make(std::move(effects), impl_->chain);
        if (!chain)
            return chain.error();
        if (!player.setEffect(chain->audioUnit()) ||
            !player.setEffectMode(chain->audioUnit() ? KXAEffectModeAU : KXAEffectModeNone))
            return impl_->refusal();
        impl_->chain = *std::move(chain);
        return {};
    });
}

std::vector<std::shared_ptr<Effect>> Player::effects() const
{
    const std::lock_guard guard(impl_->chainLock);
    return impl_->chain.effects();
}

DeviceID Player::outputDevice() const noexcept
{
    return impl_->player->outputDeviceID();
}

Result<> Player::setOutputDevice(DeviceID device)
{
    return caught({}, [&]() -> Result<> {
        impl_->player->setOutputDeviceID(device);
        impl_->player->setFollowsDefaultOutput(device == 0);
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
        if (impl_->player->exportAsyncWithURL(
                destination, [job](double percent) { return job->tellProgress(percent); }, [job] { job->complete(); },
                [job](const NSException &exception) { job->fail(exception); },
                {.fromRangeStart = true, .exactFrames = options.exactFrames})) {
            impl_->job = job;
            return Exporter(job);
        }
        return impl_->player->isExporting() || !impl_->player->audioData() ? impl_->refusal() : job->wait().error();
    });
}

const std::shared_ptr<KXAFilePlayer> &Player::native() const noexcept
{
    return impl_->player;
}

} // namespace kx
