#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace kx::test
{

/// A configuration of ALSA with the devices of a test and nothing of the machine's, in a folder of its own. While it
/// lives the environment points to it.
class ScopedAlsaConfiguration
{
public:
    ScopedAlsaConfiguration()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "kx-alsa-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("ScopedAlsaConfiguration: cannot make a folder");
        file_ = std::filesystem::path(pattern) / "alsa.conf";
        setenv("ALSA_CONFIG_PATH", file_.c_str(), 1);
        setDevices({});
    }
    ~ScopedAlsaConfiguration()
    {
        unsetenv("ALSA_CONFIG_PATH");
        std::error_code ignored;
        std::filesystem::remove_all(file_.parent_path(), ignored);
    }
    ScopedAlsaConfiguration(const ScopedAlsaConfiguration &) = delete;
    ScopedAlsaConfiguration &operator=(const ScopedAlsaConfiguration &) = delete;

    /// Name and definition of each; written in one step.
    void setDevices(const std::map<std::string, std::string> &devices) const
    {
        const std::filesystem::path next = file_.string() + ".next";
        {
            std::ofstream out(next);
            for (const auto &[name, definition] : devices)
                out << "pcm." << name << " { " << definition << " hint { show on description \"" << name << "\" } }\n";
        }
        std::filesystem::rename(next, file_);
    }

private:
    std::filesystem::path file_;
};

} // namespace kx::test
