#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace kx::test
{

/// A sink that plays to nowhere, by the clock; what it plays can be recorded bit for bit at full volume.
struct PulseSink {
    std::string name;
    uint32_t rate = 44100;
    uint32_t channels = 2;
    std::string format = "s16le";
    std::string description = {}; ///< the server's own where it is empty
};

enum class ServerKind { PulseAudio, PipeWire };

/// A private sound server in a folder of its own: nothing of the machine's sound is touched. While it lives the
/// environment points to it, running or not; afterwards to none. Every call waits until the server has done it; what
/// fails or hangs throws std::runtime_error. Make it on a thread that outlives the test: the server ends with that
/// thread.
class PulseServer
{
public:
    /// Starts with these sinks; the first one is the default.
    explicit PulseServer(std::vector<PulseSink> sinks = {{"kx1"}}, ServerKind kind = ServerKind::PulseAudio);
    ~PulseServer();
    PulseServer(const PulseServer &) = delete;
    PulseServer &operator=(const PulseServer &) = delete;

    /// Starts it again, with the sinks of the beginning.
    void start();
    void stop();   ///< as a user would
    void kill();   ///< at once, as a crash would
    void freeze(); ///< it hangs: takes connections, answers nothing
    void thaw();
    void killSessionManager(); ///< of PipeWire: what links streams to devices

    void addSink(const PulseSink &sink);
    void removeSink(const std::string &name);
    void setDefaultSink(const std::string &name);
    /// Has the server's control program do something; gives what it prints.
    std::string control(const std::vector<std::string> &arguments) const;

private:
    using Command = std::vector<std::string>;

    [[nodiscard]] std::vector<std::pair<Command, std::string>> daemons() const;
    [[nodiscard]] std::string socket() const;
    [[nodiscard]] std::string lineOf(const Command &command) const;
    [[nodiscard]] pid_t spawn(const Command &command) const;
    [[nodiscard]] bool tryControl(const Command &arguments, std::string &printed) const;

    const ServerKind kind_;
    std::filesystem::path folder_;
    std::vector<PulseSink> sinks_;
    std::map<std::string, std::string> modules_; ///< of each sink
    std::vector<pid_t> processes_;               ///< in the order of their start
};

} // namespace kx::test
