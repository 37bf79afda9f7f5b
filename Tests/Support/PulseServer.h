#pragma once

#include <cstdint>
#include <filesystem>
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

/// A private sound server in a folder of its own: nothing of the machine's sound is touched. While it lives the
/// environment points to it, running or not. Every call waits until the server has done it; what fails or hangs
/// throws std::runtime_error. Make it on a thread that outlives the test: the server ends with that thread.
class PulseServer
{
public:
    /// Starts with these sinks; the first one is the default.
    explicit PulseServer(std::vector<PulseSink> sinks = {{"kx1"}});
    ~PulseServer();
    PulseServer(const PulseServer &) = delete;
    PulseServer &operator=(const PulseServer &) = delete;

    /// Starts it again, with the sinks of the beginning.
    void start();
    void stop();   ///< as a user would
    void kill();   ///< at once, as a crash would
    void freeze(); ///< it hangs: takes connections, answers nothing
    void thaw();
    [[nodiscard]] bool isRunning() const noexcept { return process_ > 0; }

    void addSink(const PulseSink &sink);
    void removeSink(const std::string &name);
    void setDefaultSink(const std::string &name);

    /// Runs one line of the server's command language that answers nothing where it succeeds.
    void run(const std::string &line);
    /// Runs one line and gives what it answers.
    std::string ask(const std::string &line);

private:
    void writeScript() const;
    void awaitExit();
    void setVariable(const std::string &name, const std::string &value);

    std::filesystem::path folder_;
    std::vector<PulseSink> sinks_;
    std::vector<std::pair<std::string, std::string>> oldVariables_;
    pid_t process_ = 0;
    int connection_ = -1; ///< to the command language
};

} // namespace kx::test
