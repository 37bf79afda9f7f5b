#include "Apps/kxtool/Commands.h"
#include "Apps/kxtool/Failure.h"
#include "Apps/kxtool/Input.h"
#include "Apps/kxtool/Progress.h"
#include "Apps/kxtool/Waiter.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace kxtool
{

namespace
{

/// What the export's thread and the waiting one share.
class ExportJob
{
public:
    explicit ExportJob(std::shared_ptr<Waiter> waiter) : waiter_(std::move(waiter)) {}

    /// Starts the export of the player's range.
    static void start(const std::shared_ptr<ExportJob> &job, KXAFilePlayer &player, const std::string &output)
    {
        player.exportAsyncWithURL(
            output,
            [job](double percent) {
                job->percent_ = percent;
                return job->cancelled_.load();
            },
            [job] { job->waiter_->finish(); }, [job](const NSException &exception) { job->fail(exception); });
    }

    void cancel() { cancelled_ = true; }
    [[nodiscard]] bool isCancelled() const { return cancelled_; }
    [[nodiscard]] double percent() const { return percent_; }
    [[nodiscard]] std::optional<NSException> failure()
    {
        const std::lock_guard guard(lock_);
        return failure_;
    }

private:
    void fail(const NSException &exception)
    {
        {
            const std::lock_guard guard(lock_);
            failure_ = exception;
        }
        waiter_->finish();
    }

    std::shared_ptr<Waiter> waiter_; ///< the export's thread may tell the end after the command has returned
    std::atomic<bool> cancelled_{false};
    std::atomic<double> percent_{0};
    std::mutex lock_;
    std::optional<NSException> failure_; ///< under lock_
};

void waitForExport(ExportJob &job, Waiter &waiter)
{
    ProgressLine progress;
    for (;;) {
        progress.show(percentBar(job.percent()));
        const Waiter::Event event = waiter.wait(std::chrono::milliseconds(100));
        if (event == Waiter::Event::Signal)
            job.cancel();
        if (event == Waiter::Event::Finished) {
            if (!job.isCancelled() && !job.failure())
                progress.show(percentBar(100));
            return;
        }
    }
}

/// The file that a failure is about: a read error is the input's.
std::string subjectOf(const NSException &failure, const ExportOptions &options)
{
    const auto error = failure.userInfo().find("error");
    const bool reading = error != failure.userInfo().end() && error->second.code == kAudioFileReadError;
    return reading ? options.file : options.output;
}

void requireAIFF(const std::string &output)
{
    std::string suffix = std::filesystem::path(output).extension();
    std::ranges::transform(suffix, suffix.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (!suffix.empty() && suffix != ".aiff" && suffix != ".aif")
        throw UsageError(printable(output) + ": an export is an AIFF file, .aiff or .aif, and no " + printable(suffix));
}

} // namespace

void exportRange(const ExportOptions &options)
{
    requireOrder(options.range);
    requireAIFF(options.output);
    requireDifferentFiles(options.file, options.output);
    setenv("KXFW_AUDIO_BACKEND", "virtual", 0); // an export plays nothing, and waits for no sound server
    const auto waiter = std::make_shared<Waiter>();
    const auto job = std::make_shared<ExportJob>(waiter);
    {
        const auto player = makePlayer(options.file);
        applyEffect(*player, options.effect);
        const Range range = rangeIn(options.file, options.range, player->totalPackets());
        player->setOffsetFramesPlay(range.start, range.start, range.end);
        player->prepareForExport();
        ExportJob::start(job, *player, options.output);
        waitForExport(*job, *waiter);
    }
    if (const auto failure = job->failure())
        throw Failure(subjectOf(*failure, options), kx::reasonForUser(*failure));
    if (job->isCancelled())
        throw Failure(options.output, "cancelled");
}

} // namespace kxtool
