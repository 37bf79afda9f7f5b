#pragma once

#include "KXFW/Platform/AudioFiles/FileDescriptor.h"
#include "KXFW/Platform/Foundation/Result.h"

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>

namespace kx
{

enum class Existing { Refuse, Replace };

/// A file that appears at its destination whole or not at all: written under a hidden name beside it,
/// `.NAME.kx-XXXXXX`, and given its name by `commit`. Destroyed before that it leaves nothing. Links are followed; only
/// a regular file is replaced, and its mode is kept. One thread at a time.
class AtomicFile
{
public:
    static Result<std::unique_ptr<AtomicFile>> create(const std::filesystem::path &destination,
                                                      Existing existing); ///< [any] [blocks]
    ~AtomicFile();

    /// All bytes, or a failure that `commit` repeats. [any] [blocks]
    OSStatus append(const std::byte *bytes, std::size_t count);
    /// Bytes that were appended before are replaced. [any] [blocks]
    OSStatus overwrite(int64_t offset, const std::byte *bytes, std::size_t count);
    /// Puts the file in its place, on the disk itself. [any] [blocks]
    OSStatus commit();

private:
    AtomicFile() = default;
    OSStatus begin(const std::filesystem::path &destination);
    OSStatus inspectExisting(const char *path);
    OSStatus fail(int error) noexcept;
    [[nodiscard]] int rename() const noexcept;

    FileDescriptor folder_;
    FileDescriptor file_;
    std::string name_;
    std::string temporaryName_; ///< empty once there is nothing to remove
    Existing existing_ = Existing::Refuse;
    mode_t mode_ = 0; ///< permission bits of the finished file
    OSStatus failure_ = noErr;
};

} // namespace kx
