#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <chrono>
#include <cstdint>
#include <optional>

namespace kx
{

/// While it lives, reads of files on this thread are given up once `patience` has passed and the disk does not answer;
/// without one they wait as long as it takes. Where one lives already, that one counts. A read that was given up fails
/// with kAudioFileNotRespondingError, and the next one may succeed.
///
///     const kx::DiskDeadline deadline(std::chrono::milliseconds(250));
///     const OSStatus status = ExtAudioFileRead(file, &frames, &list);
class KX_EXPORT DiskDeadline
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::milliseconds kNone = std::chrono::milliseconds::max(); ///< sets no deadline

    explicit DiskDeadline(std::chrono::milliseconds patience) noexcept; ///< [any]
    ~DiskDeadline();                                                    ///< [any]
    DiskDeadline(const DiskDeadline &) = delete;
    DiskDeadline &operator=(const DiskDeadline &) = delete;

    [[nodiscard]] static std::optional<Clock::time_point> current() noexcept; ///< Of this thread. [any]
    /// Tells one deadline of this thread from another; 0 where there is none. [any]
    [[nodiscard]] static uint64_t number() noexcept;
};

/// While it lives, deadlines that are set inside of it do not count: for a thread that has nothing else to do.
class KX_EXPORT DiskPatience
{
public:
    DiskPatience() noexcept; ///< [any]
    ~DiskPatience();         ///< [any]
    DiskPatience(const DiskPatience &) = delete;
    DiskPatience &operator=(const DiskPatience &) = delete;
};

} // namespace kx
