#pragma once

#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace kx::test
{

enum class PipeMode {
    Blocking,
    NonBlocking, ///< writes of long lines come back unfinished
};

/// Takes what is written to the standard error while it lives, through a pipe. One at a time.
class CapturedLog
{
public:
    explicit CapturedLog(PipeMode mode = PipeMode::Blocking) : standardError_(dup(STDERR_FILENO))
    {
        int ends[2] = {-1, -1};
        if (standardError_ < 0 || pipe2(ends, O_CLOEXEC) != 0)
            throw std::runtime_error("cannot make a pipe");
        if (mode == PipeMode::NonBlocking)
            fcntl(ends[1], F_SETFL, O_NONBLOCK);
        dup2(ends[1], STDERR_FILENO);
        close(ends[1]);
        reader_ = std::thread([this, end = ends[0]] { readAll(end); });
    }

    ~CapturedLog() { finish(); }
    CapturedLog(const CapturedLog &) = delete;
    CapturedLog &operator=(const CapturedLog &) = delete;

    /// Everything written so far, and the end of the capture.
    const std::string &text()
    {
        finish();
        return text_;
    }

    /// The same as lines, without what stands before the message.
    std::vector<std::string> messages()
    {
        std::vector<std::string> lines;
        const std::string &all = text();
        for (std::size_t start = 0, end = 0; (end = all.find('\n', start)) != std::string::npos; start = end + 1) {
            const std::string line = all.substr(start, end - start);
            const std::size_t head = line.find("] ");
            lines.push_back(head == std::string::npos ? line : line.substr(head + 2));
        }
        return lines;
    }

private:
    void readAll(int end)
    {
        char block[4096];
        for (ssize_t bytes = 0; (bytes = read(end, block, sizeof block)) > 0;)
            text_.append(block, static_cast<std::size_t>(bytes));
        close(end);
    }

    void finish()
    {
        if (!reader_.joinable())
            return;
        dup2(standardError_, STDERR_FILENO);
        close(standardError_);
        reader_.join();
    }

    int standardError_;
    std::string text_;
    std::thread reader_;
};

} // namespace kx::test
