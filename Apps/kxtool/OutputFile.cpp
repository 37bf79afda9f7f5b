#include "Apps/kxtool/OutputFile.h"

#include "Apps/kxtool/Failure.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kxtool
{

namespace
{

/// The mode that a new file gets, or that of the one it replaces.
mode_t modeFor(const std::filesystem::path &target)
{
    struct stat info {
    };
    if (stat(target.c_str(), &info) == 0)
        return info.st_mode & 0777U;
    const mode_t mask = umask(0);
    umask(mask);
    return 0666U & ~mask;
}

} // namespace

OutputFile::OutputFile(const std::string &name) : name_(name)
{
    std::error_code error;
    if (const auto status = std::filesystem::status(name, error);
        std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        descriptor_ = open(name.c_str(), O_WRONLY | O_CLOEXEC);
    } else {
        target_ = std::filesystem::weakly_canonical(name, error);
        if (error || name.empty())
            throw Failure(name, error ? error.message() : "no name");
        temporary_ = (target_.parent_path() / ".kxtool-XXXXXX").string();
        descriptor_ = mkostemp(temporary_.data(), O_CLOEXEC);
    }
    if (descriptor_ < 0) {
        temporary_.clear();
        fail();
    }
}

OutputFile::~OutputFile()
{
    if (descriptor_ >= 0)
        close(descriptor_);
    if (!temporary_.empty())
        unlink(temporary_.c_str());
}

void OutputFile::fail() const
{
    throw Failure(name_, std::error_code(errno, std::generic_category()).message());
}

void OutputFile::write(std::span<const std::byte> bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR)
            fail();
        if (written > 0)
            bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
}

void OutputFile::finish()
{
    if (!temporary_.empty() && fchmod(descriptor_, modeFor(target_)) != 0)
        fail();
    if (close(std::exchange(descriptor_, -1)) != 0)
        fail();
    if (!temporary_.empty() && std::rename(temporary_.c_str(), target_.c_str()) != 0)
        fail();
    temporary_.clear();
}

} // namespace kxtool
