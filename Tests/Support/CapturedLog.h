#pragma once

#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace kx::test
{

/// Takes what is written to the standard error while it lives, into a file in memory. One at a time.
class CapturedLog
{
public:
    CapturedLog()
    {
        if (standardError_ < 0 || dup2(file_, STDERR_FILENO) < 0)
            throw std::runtime_error("cannot capture the log");
    }
    ~CapturedLog()
    {
        putBack();
        close(file_);
    }
    CapturedLog(const CapturedLog &) = delete;
    CapturedLog &operator=(const CapturedLog &) = delete;

    /// Everything written so far, and the end of the capture.
    std::string text()
    {
        putBack();
        std::string all(static_cast<std::size_t>(lseek(file_, 0, SEEK_END)), '\0');
        if (pread(file_, all.data(), all.size(), 0) < 0)
            throw std::runtime_error("cannot read the log");
        return all;
    }

    /// The same as lines, without what stands before the message.
    std::vector<std::string> messages()
    {
        std::vector<std::string> lines;
        std::istringstream all(text());
        for (std::string line; std::getline(all, line);)
            lines.push_back(line.find("] ") == std::string::npos ? line : line.substr(line.find("] ") + 2));
        return lines;
    }

private:
    void putBack()
    {
        if (standardError_ < 0)
            return;
        dup2(standardError_, STDERR_FILENO);
        close(std::exchange(standardError_, -1));
    }

    int standardError_ = dup(STDERR_FILENO);
    const int file_ = memfd_create("log", MFD_CLOEXEC);
};

} // namespace kx::test
