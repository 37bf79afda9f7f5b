#pragma once

#include "KXFW/Audio/KXAFilePlayer.h"
#include "KXFW/Audio/Player/DeviceFollower.h"
#include "KXFW/Audio/Player/RenderSource.h"
#include "KXFW/Audio/Player/Transport.h"

#include <memory>
#include <optional>

namespace kx
{

/// What an export is asked to do, and whom it tells.
struct ExportRequest {
    std::filesystem::path url;
    KXAFilePlayer::ProgressAndCancelBlock progressAndCancelBlock;
    KXAFilePlayer::CompletionBlock completionBlock;
    KXAFilePlayer::FailureBlock failureBlock;
    KXAExportOptions options;
    std::optional<ByteRange> range = std::nullopt; ///< of an exact export, as it was when it began

    void fail(const NSException &exception) const; ///< Tells it, or logs it. [any]
};

/// A player's exports: who may start one, where it runs, and how its end is told. While one runs the player is closed
/// to other uses.
class ExportSession
{
public:
    ExportSession(ControlLock &control, PlayerFields &fields, PlaybackPosition &position, RenderSource &source,
                  UnitChain &chain, Transport &transport, DeviceFollower &follower); ///< Borrows all of them. [any]

    bool prepare(); ///< Stops, and moves to the range's start; false without a file. [any] [blocks]
    /// Runs on a background thread, which keeps the player. False where it was refused, which is told. [any] [blocks]
    bool start(std::shared_ptr<KXAFilePlayer> player, ExportRequest request);

private:
    [[nodiscard]] int64_t rangeStart() const;
    std::optional<NSException> begin(ExportRequest &request);
    void run(const ExportRequest &request);
    void end() noexcept;

    ControlLock &control_;
    PlayerFields &fields_;
    PlaybackPosition &position_;
    RenderSource &source_;
    UnitChain &chain_;
    Transport &transport_;
    DeviceFollower &follower_;
};

} // namespace kx
