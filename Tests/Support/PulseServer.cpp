#include "Tests/Support/PulseServer.h"

#include "Tests/Support/Eventually.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
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

/// As one word of the shell.
std::string quoted(std::string word)
{
    for (std::size_t at = 0; (at = word.find('\'', at)) != std::string::npos; at += 4)
        word.replace(at, 1, "'\\''");
    return " '" + word + "'";
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
    setenv("PULSE_SERVER", ("unix:" + socket()).c_str(), 1);
    setenv("PULSE_COOKIE", (folder_ / "cookie").c_str(), 1);
    // One of PulseAudio leaves one of PipeWire alone.
    setenv("PIPEWIRE_REMOTE", (folder_ / "pipewire-0").c_str(), static_cast<int>(kind == ServerKind::PipeWire));
    start();
}

kx::test::PulseServer::~PulseServer()
{
    kill();
    unsetenv("PULSE_SERVER");
    unsetenv("PULSE_COOKIE");
    unsetenv("PIPEWIRE_REMOTE");
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

/// Where it takes clients of PulseAudio.
std::string kx::test::PulseServer::socket() const
{
    return folder_ / (kind_ == ServerKind::PipeWire ? "pulse/native" : "native");
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

/// What the shell runs for a command in the server's own surroundings.
std::string kx::test::PulseServer::lineOf(const Command &command) const
{
    const std::string folder = folder_.string();
    std::string line = "exec env";
    for (const char *name : {"XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "HOME", "PULSE_STATE_PATH"})
        line += quoted(name + ("=" + folder));
    line += " PULSE_SERVER=unix:" + socket() + " PULSE_RUNTIME_PATH=" + folder +
            "/pulse DBUS_SESSION_BUS_ADDRESS=unix:path=" + folder + "/bus";
    for (const std::string &word : command)
        line += quoted(word);
    return line + " 2>/dev/null";
}

/// It dies with the thread that calls.
pid_t kx::test::PulseServer::spawn(const Command &command) const
{
    std::string words[] = {"setpriv", "--pdeathsig", "KILL", "sh", "-c", lineOf(command) + " >/dev/null"};
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t process = 0;
    if (posix_spawnp(&process, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0)
        fail("cannot start " + command[0]);
    return process;
}

void kx::test::PulseServer::start()
{
    for (const auto &daemon : daemons()) {
        const std::string &file = daemon.second;
        if (!file.empty())
            std::filesystem::remove(folder_ / file);
        processes_.push_back(spawn(daemon.first));
        awaitOrFail("no " + file, [&] { return file.empty() || std::filesystem::exists(folder_ / file); });
    }
    std::string ignored; // the socket has its name a moment before it takes connections
    awaitOrFail("the server does not start", [&] { return tryControl({"info"}, ignored); });
    for (const PulseSink &sink : sinks_)
        addSink(sink);
    if (!sinks_.empty())
        setDefaultSink(sinks_.front().name);
}

void kx::test::PulseServer::stop()
{
    for (auto process = processes_.rbegin(); process != processes_.rend(); ++process) {
        ::kill(*process, SIGTERM);
        waitpid(*process, nullptr, 0);
    }
    processes_.clear();
    modules_.clear();
}

void kx::test::PulseServer::kill()
{
    for (const pid_t process : processes_) // the server itself before what lives on it
        ::kill(process, SIGKILL);
    for (const pid_t process : processes_)
        waitpid(process, nullptr, 0);
    processes_.clear();
    modules_.clear();
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
    Command command{"timeout", "20", "pactl"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::FILE *const pipe = popen(lineOf(command).c_str(), "re");
    if (pipe == nullptr)
        fail("no pipe");
    for (int character = 0; (character = std::getc(pipe)) != EOF;)
        printed += static_cast<char>(character);
    return pclose(pipe) == 0;
}
