#pragma once

#include <cstddef>
#include <string_view>
#include <sys/types.h>

namespace kx
{

/// The standard error as it stands when this is made, for one line or for as long as lines of it wait. It is written
/// without waiting where it is a pipe, a terminal or a socket, whatever flags other processes gave it. Move-only.
class LogOutput
{
public:
    LogOutput() noexcept;
    LogOutput(LogOutput &&other) noexcept;
    LogOutput &operator=(LogOutput &&) = delete;
    ~LogOutput();

    /// The file behind it; that of another output is the same one.
    struct File {
        dev_t device;
        ino_t number;
        bool operator==(const File &) const = default;
    };
    [[nodiscard]] File file() const noexcept { return file_; }

    /// Takes away from `bytes` what could be written at once; all of them if nobody will ever read them. [any]
    void write(std::string_view &bytes) noexcept;

    /// Has a descriptor of its own from here on, which outlives a change of the standard error; false if there is none
    /// to be had. [any]
    bool hold() noexcept;

    /// Writes all, unless nobody will ever read it. [any] [blocks]
    void writeAll(std::string_view bytes) noexcept;

private:
    enum class Kind { File, Socket, Pipe, SharedPipe };

    [[nodiscard]] ssize_t writeSome(std::string_view bytes) const noexcept;

    Kind kind_ = Kind::File;
    File file_{};
    int descriptor_ = -1;
    bool isOwned_ = false;
    bool isRead_ = false; ///< as far as is known
};

} // namespace kx
