#pragma once

#include "Tests/Support/Media.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace kx::test
{

using Line = std::vector<std::string>;

/// Runs kxtool to its end, with the virtual sound system, in this folder and with standard output going to `output`.
/// [blocks]
ToolResult kxtool(const Line &arguments, const std::string &folder = ".", const std::string &output = "/dev/stdout");

/// The value behind "key: " in the output of `info`, empty where there is none.
std::string valueOf(const std::string &key, const std::string &output);

/// The text has exactly one line, which ends.
bool isOneLine(const std::string &text);

/// The frames of an audio file as `decode` writes them: 16-bit big-endian stereo.
std::vector<uint8_t> decoded(const std::filesystem::path &file, const Line &options = {});

/// A kxtool that runs in a terminal that can be read, so that it shows its progress.
class RunningKxtool
{
public:
    explicit RunningKxtool(Line arguments);
    ~RunningKxtool();
    RunningKxtool(const RunningKxtool &) = delete;
    RunningKxtool &operator=(const RunningKxtool &) = delete;

    /// Reads the terminal until a line of it matches `pattern`; false when the program ends first. [blocks]
    bool waitFor(const std::string &pattern);
    void signal(int number) const;
    /// Reads to the end; the exit status, or 128 + the signal that ended it. [blocks]
    int wait();
    /// What the terminal got so far.
    [[nodiscard]] const std::string &terminal() const { return terminal_; }

private:
    bool readSome();

    int master_ = -1;
    pid_t pid_ = -1;
    std::string terminal_;
};

/// The numbers behind "frame " in a terminal's progress lines.
std::vector<int64_t> framesShown(const std::string &terminal);

} // namespace kx::test
