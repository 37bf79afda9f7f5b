#include "KXFW/Platform/Foundation/LogBacklog.h"

#include <chrono>
#include <csignal>
#include <thread>
#include <unistd.h>
#include <utility>

namespace
{

constexpr std::size_t kMostWaitingBytes = std::size_t{4} << 20;
constexpr std::chrono::seconds kLongestDrain{1};

/// The program's signals are for its own threads, and one that tells of a closed pipe would end it.
void prepareThread() noexcept
{
    pthread_setname_np(pthread_self(), "kx.log");
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

} // namespace

kx::LogBacklog::LogBacklog(LogOutput::File file) : file_(file), process_(getpid()) {}

bool kx::LogBacklog::isOfThisProcess() const noexcept
{
    return process_ == getpid();
}

void kx::LogBacklog::start(LogOutput output, std::string line)
{
    const std::lock_guard guard(lock_);
    try {
        if (output.hold()) {
            push(std::move(line));
            std::thread([self = shared_from_this(), out = std::move(output)]() mutable {
                self->run(std::move(out));
            }).detach();
            isWriting_ = true;
            dropped_ = 0; // the line tells of them
            return;
        }
    } catch (const std::exception &) { // no memory or no thread
        lines_.clear();
        bytes_ = 0;
    }
    ++dropped_;
}

bool kx::LogBacklog::add(std::string &line)
{
    const std::lock_guard guard(lock_);
    if (isWriting_ && bytes_ + line.size() > kMostWaitingBytes) {
        ++dropped_;
        return true;
    }
    line.insert(0, notice());
    if (!isWriting_)
        return false;
    push(std::move(line));
    dropped_ = 0;
    return true;
}

void kx::LogBacklog::drain()
{
    std::unique_lock guard(lock_);
    drained_.wait_for(guard, kLongestDrain, [this] { return !isWriting_; });
}

void kx::LogBacklog::push(std::string line)
{
    bytes_ += line.size();
    lines_.push_back(std::move(line));
}

std::string kx::LogBacklog::notice() const
{
    if (dropped_ == 0)
        return {};
    return logLine("log: dropped " + std::to_string(dropped_) + " lines, since nobody read the standard error");
}

/// The line to write; an empty one ends the thread. What was written counts until the next is asked for.
std::string kx::LogBacklog::next()
{
    const std::lock_guard guard(lock_);
    bytes_ -= std::exchange(inHand_, 0);
    if (lines_.empty() && dropped_ > 0) {
        push(notice());
        dropped_ = 0;
    }
    if (lines_.empty()) {
        isWriting_ = false;
        drained_.notify_all();
        return {};
    }
    std::string line = std::move(lines_.front());
    lines_.pop_front();
    inHand_ = line.size();
    return line;
}

void kx::LogBacklog::run(LogOutput output) noexcept
{
    prepareThread();
    for (std::string line = next(); !line.empty(); line = next())
        output.writeAll(line);
}
