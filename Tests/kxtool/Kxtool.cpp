#include "Tests/kxtool/Kxtool.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <pty.h>
#include <regex>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace kx::test
{

ToolResult kxtool(const Line &arguments, const std::string &folder, const std::string &output)
{
    setenv("KXFW_AUDIO_BACKEND", "virtual", 1);
    Line command{"sh", "-c", R"(cd "$1" && out=$2 && shift 2 && exec "$0" "$@" >"$out")", KXTOOL_PATH, folder, output};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return runTool(command);
}

std::string valueOf(const std::string &key, const std::string &output)
{
    std::smatch found;
    return std::regex_search(output, found, std::regex("(?:^|\n)" + key + ": ([^\n]*)\n")) ? found[1].str() : "";
}

bool isOneLine(const std::string &text)
{
    return std::count(text.begin(), text.end(), '\n') == 1 && text.back() == '\n';
}

std::vector<uint8_t> decoded(const std::filesystem::path &file, const Line &options)
{
    const auto output = temporaryPath("decoded.raw");
    Line line{"decode", file, output};
    line.insert(line.end(), options.begin(), options.end());
    const ToolResult result = kxtool(line);
    if (result.status != 0)
        throw std::runtime_error("decode failed: " + result.errors);
    return readBytes(output);
}

RunningKxtool::RunningKxtool(Line arguments)
{
    setenv("KXFW_AUDIO_BACKEND", "virtual", 1);
    arguments.insert(arguments.begin(), KXTOOL_PATH);
    std::vector<char *> argv;
    for (std::string &argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_ = forkpty(&master_, nullptr, nullptr, nullptr);
    if (pid_ == 0) {
        execv(argv[0], argv.data());
        _exit(127);
    }
    if (pid_ < 0)
        throw std::runtime_error("kxtool does not start");
    fcntl(master_, F_SETFD, FD_CLOEXEC);
}

RunningKxtool::~RunningKxtool()
{
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    close(master_);
}

bool RunningKxtool::readSome()
{
    std::array<char, 4096> block{};
    const ssize_t count = read(master_, block.data(), block.size()); // EIO once the program has closed its end
    terminal_.append(block.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return count > 0;
}

bool RunningKxtool::waitFor(const std::string &pattern)
{
    const std::regex wanted(pattern);
    while (!std::regex_search(terminal_, wanted))
        if (!readSome())
            return false;
    return true;
}

void RunningKxtool::signal(int number) const
{
    kill(pid_, number);
}

int RunningKxtool::wait()
{
    while (readSome()) {
    }
    int status = 0;
    waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::vector<int64_t> framesShown(const std::string &terminal)
{
    std::vector<int64_t> frames;
    const std::regex number("frame ([0-9]+)");
    for (auto found = std::sregex_iterator(terminal.begin(), terminal.end(), number); found != std::sregex_iterator();
         ++found)
        frames.push_back(std::stoll((*found)[1]));
    return frames;
}

} // namespace kx::test
