#include "Tests/Support/PulseServer.h"

#include "Tests/Support/Eventually.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <ranges>
#include <spawn.h>
#include <stdexcept>
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

constexpr std::string_view kUnset = "\x01"; ///< stands for a variable that was not set

[[noreturn]] void fail(const std::string &what)
{
    throw std::runtime_error("PulseServer: " + what);
}

template <class Condition> void awaitOrFail(const std::string &what, Condition condition)
{
    if (!kx::test::eventually(condition))
        fail(what);
}

std::string loadArguments(const kx::test::PulseSink &sink)
{
    std::string arguments = "norewinds=1 sink_name=" + sink.name + " rate=" + std::to_string(sink.rate) +
                            " channels=" + std::to_string(sink.channels) + " format=" + sink.format;
    if (!sink.description.empty())
        arguments += " sink_properties=\"device.description='" + sink.description + "'\"";
    return arguments;
}

std::string firstLine(const std::string &text)
{
    return text.substr(0, text.find('\n'));
}

} // namespace

kx::test::PulseServer::PulseServer(std::vector<PulseSink> sinks, ServerKind kind)
    : kind_(kind), sinks_(std::move(sinks))
{
    std::string pattern = (std::filesystem::temp_directory_path() / "kx-pulse-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
        fail("cannot make a folder");
    folder_ = pattern;
    // Without the first the server resamples everything to 48,000 Hz.
    std::filesystem::create_directories(folder_ / "pipewire/pipewire.conf.d");
    std::ofstream(folder_ / "pipewire/pipewire.conf.d/rate.conf")
        << "context.properties = { default.clock.rate = 44100 default.clock.allowed-rates = [ 44100 48000 ] }\n";
    std::ofstream(folder_ / "start.pa") << "load-module module-native-protocol-unix auth-anonymous=1 socket="
                                        << (folder_ / "native").string() << '\n';
    setVariable("PULSE_SERVER",
                "unix:" + (folder_ / (kind == ServerKind::PipeWire ? "pulse/native" : "native")).string());
    setVariable("PULSE_COOKIE", (folder_ / "cookie").string());
    start();
}

kx::test::PulseServer::~PulseServer()
{
    end(SIGKILL);
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

/// The programs that make the server, each with the file that appears when it is there.
std::vector<std::pair<kx::test::PulseServer::Command, std::string>> kx::test::PulseServer::daemons() const
{
    const std::string folder = folder_.string();
    if (kind_ == ServerKind::PipeWire)
        return {
            {{"dbus-daemon", "--session", "--nofork", "--nopidfile", "--address=unix:path=" + folder + "/bus"}, "bus"},
            {{"pipewire"}, "pipewire-0"},
            {{"wireplumber"}, ""},
            {{"pipewire-pulse"}, "pulse/native"}};
    return {
        {{"pulseaudio", "-n", "-F", folder + "/start.pa", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
          "--realtime=no", "--high-priority=no", "--disable-shm=yes", "--log-target=file:" + folder + "/log"},
         "native"}};
}

/// Starts a program in the server's own surroundings; it dies with the thread that calls.
pid_t kx::test::PulseServer::spawn(const Command &command, int output) const
{
    const std::string folder = folder_.string();
    Command words{"setpriv", "--pdeathsig", "KILL", "env"};
    for (const char *name : {"XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "HOME", "PULSE_STATE_PATH"})
        words.push_back(name + ("=" + folder));
    words.push_back("PULSE_RUNTIME_PATH=" + folder + "/pulse");
    words.push_back("DBUS_SESSION_BUS_ADDRESS=unix:path=" + folder + "/bus");
    words.insert(words.end(), command.begin(), command.end());
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    if (output >= 0)
        posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
    else
        posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t process = 0;
    const int error = posix_spawnp(&process, arguments[0], &files, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0)
        fail("cannot start " + command[0]);
    return process;
}

void kx::test::PulseServer::start()
{
    if (isRunning())
        fail("runs already");
    for (const auto &daemon : daemons()) {
        const std::string &file = daemon.second;
        if (!file.empty())
            std::filesystem::remove(folder_ / file);
        processes_.push_back(spawn(daemon.first, -1));
        awaitOrFail("no " + file, [&] { return file.empty() || std::filesystem::exists(folder_ / file); });
    }
    std::string ignored; // the socket has its name a moment before it takes connections
    awaitOrFail("the server does not start", [&] { return tryControl({"info"}, ignored); });
    for (const PulseSink &sink : sinks_)
        addSink(sink);
    if (!sinks_.empty())
        setDefaultSink(sinks_.front().name);
}

void kx::test::PulseServer::end(int signal)
{
    for (const pid_t process : std::ranges::reverse_view(processes_)) {
        ::kill(process, signal);
        waitpid(process, nullptr, 0);
    }
    processes_.clear();
    modules_.clear();
}

void kx::test::PulseServer::stop()
{
    end(SIGTERM);
}

void kx::test::PulseServer::kill()
{
    end(SIGKILL);
}

void kx::test::PulseServer::freeze()
{
    for (const pid_t process : processes_) {
        int status = 0;
        ::kill(process, SIGSTOP);
        if (waitpid(process, &status, WUNTRACED) != process || !WIFSTOPPED(status))
            fail("the server does not stop");
    }
}

void kx::test::PulseServer::thaw()
{
    for (const pid_t process : processes_)
        ::kill(process, SIGCONT);
}

void kx::test::PulseServer::killSessionManager()
{
    const auto manager = processes_.end() - 2;
    ::kill(*manager, SIGKILL);
    waitpid(*manager, nullptr, 0);
    processes_.erase(manager);
}

void kx::test::PulseServer::addSink(const PulseSink &sink)
{
    modules_[sink.name] = firstLine(control({"load-module", "module-null-sink", loadArguments(sink)}));
    awaitOrFail("no sink " + sink.name, [&] {
        return control({"list", "short", "sinks"}).find("\t" + sink.name + "\t") != std::string::npos;
    });
}

void kx::test::PulseServer::removeSink(const std::string &name)
{
    control({"unload-module", modules_.at(name)});
}

void kx::test::PulseServer::setDefaultSink(const std::string &name)
{
    control({"set-default-sink", name});
    awaitOrFail("no default " + name, [&] { return firstLine(control({"get-default-sink"})) == name; });
}

std::string kx::test::PulseServer::control(const std::vector<std::string> &arguments) const
{
    std::string printed;
    if (!tryControl(arguments, printed))
        fail("refused: " + arguments[0]);
    return printed;
}

bool kx::test::PulseServer::tryControl(const Command &arguments, std::string &printed) const
{
    std::array<int, 2> pipe{};
    if (pipe2(pipe.data(), O_CLOEXEC) != 0)
        fail("no pipe");
    Command command{"timeout", "20", "pactl"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const pid_t process = spawn(command, pipe[1]);
    close(pipe[1]);
    std::array<char, 4096> block{};
    for (ssize_t bytes = 0; (bytes = read(pipe[0], block.data(), block.size())) > 0;)
        printed.append(block.data(), static_cast<std::size_t>(bytes));
    close(pipe[0]);
    int status = 0;
    return waitpid(process, &status, 0) == process && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
