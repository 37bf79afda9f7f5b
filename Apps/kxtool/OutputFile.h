#pragma once

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>

namespace kxtool
{

/// A file that takes its name when it is complete: until then its bytes are in a hidden file beside it, and what is at
/// its place stays. A link is followed; what is no regular file, such as a pipe, is written to directly.
class OutputFile
{
public:
    explicit OutputFile(const std::string &name); ///< Throws Failure where it cannot be made.
    ~OutputFile();                                ///< Removes an unfinished file.
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    void write(std::span<const std::byte> bytes); ///< Throws Failure. [blocks]
    void finish();                                ///< Gives the file its name. Throws Failure. [blocks]

private:
    [[noreturn]] void fail() const;

    std::string name_;
    std::filesystem::path target_; ///< where the temporary file goes
    std::string temporary_;        ///< empty where the bytes go straight to the target
    int descriptor_ = -1;
};

} // namespace kxtool
