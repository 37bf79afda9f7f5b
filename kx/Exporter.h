#pragma once

#include "kx/Error.h"
#include "kx/Subscription.h"
#include "kx/Visibility.h"

#include <chrono>
#include <functional>
#include <memory>

namespace kx
{

class Player;

/// How an export is made.
struct ExportOptions {
    /// Exactly the range's frames (through an effect: as many as it makes of them), and nothing of what follows. Else
    /// the length is rounded up to whole slices of 512 frames, with the file's next ones.
    bool exactFrames = true;
};

/// An export that runs on a thread of the library, as the one who waits for it has it; `Player::exportRange` makes one.
/// Where it goes before the end, the export is given up and waited for: what was at the destination stays. Move-only;
/// one that was moved from can only be assigned to or go.
class KX_EXPORT Exporter
{
public:
    Exporter(Exporter &&other) noexcept;            ///< [any]
    Exporter &operator=(Exporter &&other) noexcept; ///< [any] [blocks]
    ~Exporter();                                    ///< [any] [blocks]

    [[nodiscard]] double progress() const noexcept; ///< 0 to 1. [any]
    [[nodiscard]] bool hasEnded() const noexcept;   ///< [any]
    /// Asks for the end. What is there by then becomes a valid, shorter file in the place of the old one. [any]
    void cancel() noexcept;

    /// Waits for the end; the same answer again for who asks again. After `cancel` the error is Cancelled unless the
    /// whole was there already. After another failure, and where the player has gone (Cancelled too), the destination
    /// is as it was. [any] [blocks]
    Result<> wait() const;
    /// Waits for the end, for so long at most: whether it has come. [any] [blocks]
    [[nodiscard]] bool waitFor(std::chrono::milliseconds time) const;

    /// Calls `listener` once at the end, on the export's thread; here and now where that has been. [any] [blocks]
    [[nodiscard]] Subscription onEnded(std::function<void(const Result<> &)> listener);

private:
    friend class Player;
    class Job;
    explicit Exporter(std::shared_ptr<Job> job) noexcept;

    std::shared_ptr<Job> job_;
};

} // namespace kx
