#pragma once

#include "KXFW/Platform/Foundation/NSException.h"
#include "kx/Exporter.h"
#include "kx/Internal/Signal.h"

#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <optional>

namespace kx
{

/// What an export's thread and those who wait for it share.
class __attribute__((visibility("hidden"))) Exporter::Job
{
public:
    Job(std::filesystem::path source, std::filesystem::path destination);

    // The export's side. All [any].
    bool tellProgress(double percent); ///< True when it is to stop; throws when it was given up.
    void complete();
    void fail(const NSException &exception);

    // The waiting side. All [any].
    void cancel() noexcept { cancelled_ = true; }
    void giveUp() noexcept { givenUp_ = true; }
    [[nodiscard]] double progress() const noexcept { return percent_ / 100; }
    [[nodiscard]] bool hasEnded() const noexcept;
    Result<> wait();
    bool waitFor(std::chrono::milliseconds time);
    Subscription onEnded(std::function<void(const Result<> &)> listener);

private:
    [[nodiscard]] Error cancelledError() const;
    void end(Result<> result);

    const std::filesystem::path source_;
    const std::filesystem::path destination_;
    std::atomic<bool> cancelled_{false};
    std::atomic<bool> givenUp_{false};
    std::atomic<bool> stopped_{false}; ///< before the end, because it was cancelled
    std::atomic<double> percent_{0};
    mutable std::mutex lock_;
    std::condition_variable ended_;
    std::optional<Result<>> result_; ///< under lock_
    Signal<const Result<> &> listeners_;
};

} // namespace kx
