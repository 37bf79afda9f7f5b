#include "kx/Exporter.h"

#include "kx/Internal/Errors.h"
#include "kx/Internal/ExportJob.h"

#include <exception>
#include <utility>

namespace kx
{

namespace
{

class GivenUp : public std::exception
{
public:
    static constexpr const char *kReason = "the export was given up";

    [[nodiscard]] const char *what() const noexcept override { return kReason; }
};

} // namespace

Exporter::Job::Job(std::filesystem::path source, std::filesystem::path destination)
    : source_(std::move(source)), destination_(std::move(destination))
{
}

bool Exporter::Job::tellProgress(double percent)
{
    percent_ = percent;
    if (givenUp_)
        throw GivenUp(); // a failure leaves the destination as it was
    stopped_ = cancelled_.load();
    return stopped_;
}

void Exporter::Job::complete()
{
    if (stopped_)
        return end(cancelledError());
    percent_ = 100;
    end({});
}

Error Exporter::Job::cancelledError() const
{
    return {ErrorCode::Cancelled, "cancelled", destination_};
}

/// A failure to read is the source's.
void Exporter::Job::fail(const NSException &exception)
{
    if (exception.reason() == GivenUp::kReason)
        return end(cancelledError());
    Error error = asOfWriting(errorOf(exception, destination_));
    if (error.code == ErrorCode::ReadFailed)
        error.file = source_;
    end(std::move(error));
}

void Exporter::Job::end(Result<> result)
{
    {
        const std::lock_guard guard(lock_);
        result_ = std::move(result);
    }
    ended_.notify_all();
    listeners_.raise(*result_); // it does not change any more
}

bool Exporter::Job::hasEnded() const noexcept
{
    const std::lock_guard guard(lock_);
    return result_.has_value();
}

Result<> Exporter::Job::wait()
{
    std::unique_lock lock(lock_);
    ended_.wait(lock, [&] { return result_.has_value(); });
    return *result_;
}

bool Exporter::Job::waitFor(std::chrono::milliseconds time)
{
    std::unique_lock lock(lock_);
    return ended_.wait_for(lock, time, [&] { return result_.has_value(); });
}

Subscription Exporter::Job::onEnded(std::function<void(const Result<> &)> listener)
{
    std::unique_lock lock(lock_);
    if (!result_)
        return listeners_.subscribe(std::move(listener));
    lock.unlock();
    listeners_.callGuarded(listener, *result_);
    return {};
}

Exporter::Exporter(std::shared_ptr<Job> job) noexcept : job_(std::move(job)) {}
Exporter::Exporter(Exporter &&other) noexcept = default;

Exporter &Exporter::operator=(Exporter &&other) noexcept
{
    if (this != &other) {
        Exporter old(std::move(*this)); // which ends here
        job_ = std::move(other.job_);
    }
    return *this;
}

Exporter::~Exporter()
{
    if (!job_)
        return;
    job_->giveUp();
    (void)job_->wait();
}

double Exporter::progress() const noexcept
{
    return job_->progress();
}

bool Exporter::hasEnded() const noexcept
{
    return job_->hasEnded();
}

void Exporter::cancel() noexcept
{
    job_->cancel();
}

Result<> Exporter::wait() const
{
    return job_->wait();
}

bool Exporter::waitFor(std::chrono::milliseconds time) const
{
    return job_->waitFor(time);
}

Subscription Exporter::onEnded(std::function<void(const Result<> &)> listener)
{
    return job_->onEnded(std::move(listener));
}

} // namespace kx
