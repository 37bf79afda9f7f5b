#pragma once

#include "kx/Error.h"
#include "kx/Visibility.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>

namespace kx
{

/// A file that takes its place when it is complete: until then what was there stays, and it stays for good if the new
/// file is never completed. A link is followed, and the new file gets the permissions of the one that it replaces. What
/// is no regular file, such as a pipe, is written to directly. One thread at a time.
///
///     auto file = kx::AtomicFile::create("notes.txt").value();
///     file.write(bytes).value();
///     file.commit().value();
class KX_EXPORT AtomicFile
{
public:
    /// Begins a file whose place will be `path`. [any] [blocks]
    [[nodiscard]] static Result<AtomicFile> create(const std::filesystem::path &path);

    AtomicFile(AtomicFile &&) noexcept;            ///< [any]
    AtomicFile &operator=(AtomicFile &&) noexcept; ///< [any] [blocks]
    ~AtomicFile();                                 ///< [any] [blocks]

    /// Appends all of the bytes. After a failure every further call fails. [any] [blocks]
    Result<> write(std::span<const std::byte> bytes);
    /// Puts the file on the disk and then in its place, once: the object has done its work, whether that went well or
    /// not. [any] [blocks]
    Result<> commit();

private:
    struct Impl;
    explicit AtomicFile(std::unique_ptr<Impl> impl) noexcept;

    std::unique_ptr<Impl> impl_; ///< null once it has been committed
};

/// Writes a whole file as an AtomicFile. [any] [blocks]
KX_EXPORT Result<> writeFile(const std::filesystem::path &path, std::span<const std::byte> bytes);

} // namespace kx
