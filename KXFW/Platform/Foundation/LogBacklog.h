#pragma once

#include "KXFW/Platform/Foundation/LogOutput.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

namespace kx
{

/// The lines that wait for a standard error whose reader does not keep up. A thread of its own writes them in their
/// order and ends when none is left. What is too much is dropped; a line in its place tells how many were.
class LogBacklog : public std::enable_shared_from_this<LogBacklog>
{
public:
    /// For the output behind `file`. [any]
    explicit LogBacklog(LogOutput::File file);

    /// It is for this file, and for this process: a fork takes no thread along. [any]
    [[nodiscard]] bool isFor(LogOutput::File file) const noexcept { return file_ == file && isOfThisProcess(); }
    [[nodiscard]] bool isOfThisProcess() const noexcept; ///< [any]

    /// Starts to write with a line that `add` did not take, or the rest of it; drops it where there is no thread,
    /// memory or descriptor to be had. [any]
    void start(LogOutput output, std::string line);

    /// Takes or drops `line` if others wait; false if none does. Where lines were dropped before it, one that tells how
    /// many goes before it. [any]
    bool add(std::string &line);

    /// Waits until no line is left, for a second at most. [any] [blocks]
    void drain();

private:
    void push(std::string line);
    [[nodiscard]] std::string notice() const;
    std::string next();
    void run(LogOutput output) noexcept;

    const LogOutput::File file_;
    const pid_t process_;
    std::mutex lock_; // of all below
    std::condition_variable drained_;
    std::deque<std::string> lines_;
    std::size_t inHand_ = 0; ///< bytes of the line that is being written
    std::size_t bytes_ = 0;  ///< of this line and those that wait
    uint64_t dropped_ = 0;
    bool isWriting_ = false;
};

/// `message` as a line: `2026-11-24 14:55:03.123 kxtool[4711] message`. [any]
std::string logLine(std::string_view message);

} // namespace kx
