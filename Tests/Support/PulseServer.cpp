#include "Tests/Support/PulseServer.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <stdexcept>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

// What the thread sanitizer must not report: libpulse keeps freed blocks in lists without locks that all its loops
// share. It is not instrumented, so a block that goes from one loop to another looks like a race between them. The
// pattern names the library's inner half only, which is on the stack of no callback of ours. It stands here because
// every test that meets a server has this file.
extern "C" __attribute__((visibility("default"))) const char *__tsan_default_suppressions(); // NOLINT: its name
const char *__tsan_default_suppressions()                                                    // NOLINT
{
    return "race:libpulsecommon-*.so\n";
}

namespace
{

constexpr int kDeadlineMilliseconds = 20000; ///< against hangs
constexpr std::string_view kUnset = "\x01";  ///< stands for a variable that was not set
constexpr std::string_view kEndMark = "kx-end-of-answer";
constexpr const char *kReadyFile = "commands"; ///< the socket that is made last

[[noreturn]] void fail(const std::string &what)
{
    throw std::runtime_error("PulseServer: " + what);
}

std::string loadSinkLine(const kx::test::PulseSink &sink)
{
    std::string line = "load-module module-null-sink norewinds=1 sink_name=" + sink.name +
                       " rate=" + std::to_string(sink.rate) + " channels=" + std::to_string(sink.channels) +
                       " format=" + sink.format;
    if (!sink.description.empty())
        line += " sink_properties=\"device.description='" + sink.description + "'\"";
    return line;
}

/// Waits until there is something to read; false at the deadline.
bool canRead(int descriptor)
{
    pollfd wanted{descriptor, POLLIN, 0};
    return poll(&wanted, 1, kDeadlineMilliseconds) == 1;
}

/// In the new process: becomes the server.
[[noreturn]] void becomeServer(const std::filesystem::path &folder)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const std::string path = folder.string();
    setenv("XDG_RUNTIME_DIR", path.c_str(), 1);
    setenv("HOME", path.c_str(), 1);
    setenv("PULSE_RUNTIME_PATH", (path + "/pulse").c_str(), 1);
    setenv("PULSE_STATE_PATH", (path + "/state").c_str(), 1);
    const int nowhere = open("/dev/null", O_RDWR);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    const std::string script = path + "/start.pa";
    const std::string log = "--log-target=file:" + path + "/log";
    execlp("pulseaudio", "pulseaudio", "-n", "-F", script.c_str(), "--daemonize=no", "--exit-idle-time=-1",
           "--use-pid-file=no", "--realtime=no", "--high-priority=no", "--disable-shm=yes", log.c_str(), nullptr);
    _exit(127);
}

int connectTo(const std::filesystem::path &socketPath)
{
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socketPath.string().copy(address.sun_path, sizeof address.sun_path - 1);
    if (connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
        return descriptor;
    close(descriptor);
    return -1;
}

} // namespace

kx::test::PulseServer::PulseServer(std::vector<PulseSink> sinks) : sinks_(std::move(sinks))
{
    std::string pattern = (std::filesystem::temp_directory_path() / "kx-pulse-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
        fail("cannot make a folder");
    folder_ = pattern;
    for (const char *name : {"pulse", "state"})
        if (mkdir((folder_ / name).c_str(), 0700) != 0)
            fail("cannot make a folder");
    setVariable("PULSE_SERVER", "unix:" + (folder_ / "native").string());
    setVariable("PULSE_COOKIE", (folder_ / "cookie").string());
    start();
}

kx::test::PulseServer::~PulseServer()
{
    if (isRunning())
        kill();
    for (const auto &[name, value] : oldVariables_)
        value == kUnset ? unsetenv(name.c_str()) : setenv(name.c_str(), value.c_str(), 1);
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

void kx::test::PulseServer::setVariable(const std::string &name, const std::string &value)
{
    const char *old = std::getenv(name.c_str());
    oldVariables_.emplace_back(name, old == nullptr ? std::string(kUnset) : std::string(old));
    setenv(name.c_str(), value.c_str(), 1);
}

void kx::test::PulseServer::writeScript() const
{
    std::ofstream script(folder_ / "start.pa");
    for (const PulseSink &sink : sinks_)
        script << loadSinkLine(sink) << '\n';
    script << "load-module module-native-protocol-unix auth-anonymous=1 socket=" << (folder_ / "native").string()
           << '\n';
    if (!sinks_.empty())
        script << "set-default-sink " << sinks_.front().name << '\n';
    script << "load-module module-cli-protocol-unix socket=" << (folder_ / kReadyFile).string() << '\n';
}

void kx::test::PulseServer::start()
{
    if (isRunning())
        fail("runs already");
    writeScript();
    for (const char *name : {"native", kReadyFile})
        std::filesystem::remove(folder_ / name);
    const int watch = inotify_init1(IN_CLOEXEC);
    inotify_add_watch(watch, folder_.c_str(), IN_CREATE);
    process_ = fork();
    if (process_ == 0)
        becomeServer(folder_);
    while (!std::filesystem::exists(folder_ / kReadyFile)) {
        std::array<char, 4096> events{};
        if (!canRead(watch) || read(watch, events.data(), events.size()) <= 0)
            break;
    }
    close(watch);
    // The socket has its name a moment before it takes connections.
    for (int i = 0; i < 1000 && (connection_ = connectTo(folder_ / kReadyFile)) < 0; ++i)
        poll(nullptr, 0, 1);
    if (connection_ < 0)
        fail("the server does not start");
    ask("stat"); // answered when all of the script has been carried out
}

void kx::test::PulseServer::awaitExit()
{
    if (waitpid(process_, nullptr, 0) != process_)
        fail("the server is not a child of this process");
    process_ = 0;
    close(connection_);
    connection_ = -1;
}

void kx::test::PulseServer::stop()
{
    ::kill(process_, SIGTERM);
    awaitExit();
}

void kx::test::PulseServer::kill()
{
    ::kill(process_, SIGKILL);
    awaitExit();
}

void kx::test::PulseServer::freeze()
{
    ::kill(process_, SIGSTOP);
    int status = 0;
    if (waitpid(process_, &status, WUNTRACED) != process_ || !WIFSTOPPED(status))
        fail("the server does not stop");
}

void kx::test::PulseServer::thaw()
{
    ::kill(process_, SIGCONT);
}

void kx::test::PulseServer::addSink(const PulseSink &sink)
{
    run(loadSinkLine(sink));
}

void kx::test::PulseServer::removeSink(const std::string &name)
{
    const std::string list = ask("list-sinks");
    const std::string key = "\tmodule: ";
    const std::size_t sink = list.find("\tname: <" + name + ">");
    const std::size_t module = sink == std::string::npos ? sink : list.find(key, sink);
    if (module == std::string::npos)
        fail("no sink " + name);
    run("unload-module " + std::to_string(std::stoul(list.substr(module + key.size()))));
}

void kx::test::PulseServer::setDefaultSink(const std::string &name)
{
    run("set-default-sink " + name);
}

void kx::test::PulseServer::run(const std::string &line)
{
    const std::string answer = ask(line);
    if (!answer.empty())
        fail(line + ": " + answer);
}

std::string kx::test::PulseServer::ask(const std::string &line)
{
    // The server answers nothing to what succeeds; a command that it does not know marks the end.
    const std::string request = line + "\n" + std::string(kEndMark) + "\n";
    const std::string end = "Unknown command: " + std::string(kEndMark) + "\n";
    if (send(connection_, request.data(), request.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(request.size()))
        fail("the server does not listen");
    std::string answer;
    while (!answer.ends_with(end)) {
        std::array<char, 4096> block{};
        const ssize_t bytes = canRead(connection_) ? read(connection_, block.data(), block.size()) : 0;
        if (bytes <= 0)
            fail("no answer to " + line);
        answer.append(block.data(), static_cast<std::size_t>(bytes));
    }
    answer.resize(answer.size() - end.size());
    return answer;
}
