#pragma once

#include "KXFW/Platform/Foundation/FileDescriptor.h"
#include "KXFW/Platform/Foundation/FilePlace.h"
#include "KXFW/Platform/Foundation/StatusOr.h"

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace kx
{

enum class Existing { Refuse, Replace };

/// A file that appears at its destination whole or not at all: written without a name in the destination's folder, and
/// given its name by `commit`. Destroyed before that it leaves nothing, and where the file system has files without
/// names a killed process leaves nothing either; elsewhere, and for a moment while one is replaced, the file is called
/// `.NAME.kx-XXXXXX`.
///
/// Links are followed (see findPlace). Only a regular file is replaced, and the new one gets its permissions, save
/// those to run it as its owner or group. With Existing::Refuse nothing is replaced, not even a file that comes while
/// this one is written. One thread at a time.
class StagedFile
{
public:
    static StatusOr<std::unique_ptr<StagedFile>> create(const std::filesystem::path &destination,
                                                        Existing existing); ///< [any] [blocks]
    ~StagedFile();

    /// All bytes, or a failure that `commit` repeats. [any] [blocks]
    OSStatus append(std::span<const std::byte> bytes);
    /// Bytes that were appended before are replaced. [any] [blocks]
    OSStatus overwrite(int64_t offset, std::span<const std::byte> bytes);
    /// Puts the file in its place, on the disk itself. [any] [blocks]
    OSStatus commit();

private:
    StagedFile() = default;
    OSStatus inspectExisting(const struct stat &info);
    OSStatus open();
    OSStatus fail(int error) noexcept;
    [[nodiscard]] bool putInPlace();
    [[nodiscard]] bool linkTo(const std::string &name) const;
    [[nodiscard]] bool takeFreeName();
    [[nodiscard]] bool takeScratchName();
    [[nodiscard]] std::string scratchName() const;

    FileDescriptor folder_;
    FileDescriptor file_;
    std::string name_;
    std::string scratch_; ///< the file's name of now; empty while it has none, or its own
    Existing existing_ = Existing::Refuse;
    std::optional<mode_t> mode_; ///< permission bits of the file that is replaced
    OSStatus failure_ = noErr;
};

} // namespace kx
