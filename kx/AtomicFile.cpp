#include "kx/AtomicFile.h"

#include "KXFW/Platform/Foundation/FileErrors.h"
#include "KXFW/Platform/Foundation/StagedFile.h"
#include "kx/Internal/Errors.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace kx
{

/// Exactly one of the two files is there.
struct AtomicFile::Impl {
    std::filesystem::path path;
    std::unique_ptr<StagedFile> staged;
    FileDescriptor direct;
    OSStatus failure = noErr; ///< of the direct one

    OSStatus write(std::span<const std::byte> bytes)
    {
        if (staged)
            return staged->append(bytes);
        const int error = failure == noErr ? writeAll(direct.number(), bytes) : 0;
        return error != 0 ? failure = writeFailure(error) : failure;
    }
};

AtomicFile::AtomicFile(std::unique_ptr<Impl> impl) noexcept : impl_(std::move(impl)) {}
AtomicFile::AtomicFile(AtomicFile &&) noexcept = default;
AtomicFile &AtomicFile::operator=(AtomicFile &&) noexcept = default;
AtomicFile::~AtomicFile() = default;

Result<AtomicFile> AtomicFile::create(const std::filesystem::path &path)
{
    return caught(path, [&]() -> Result<AtomicFile> {
        auto impl = std::make_unique<Impl>();
        impl->path = path;
        struct stat info = {};
        const bool isThere = ::stat(path.c_str(), &info) == 0;
        if (isThere && S_ISDIR(info.st_mode))
            return Error{ErrorCode::NotPermitted, "it is a folder", path};
        if (isThere && !S_ISREG(info.st_mode)) {
            impl->direct = FileDescriptor(::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
            if (!impl->direct.isOpen())
                return errorOf(openFailure(errno), path);
            return AtomicFile(std::move(impl));
        }
        auto staged = StagedFile::create(path, Existing::Replace);
        if (!staged)
            return asOfWriting(errorOf(staged.status(), path));
        impl->staged = *std::move(staged);
        return AtomicFile(std::move(impl));
    });
}

Result<> AtomicFile::write(std::span<const std::byte> bytes)
{
    if (!impl_)
        return Error{ErrorCode::InvalidArgument, "the file is complete", {}};
    return resultOf(impl_->write(bytes), impl_->path);
}

Result<> AtomicFile::commit()
{
    const std::unique_ptr<Impl> impl = std::move(impl_);
    if (!impl)
        return Error{ErrorCode::InvalidArgument, "the file is complete", {}};
    return resultOf(impl->staged ? impl->staged->commit() : impl->failure, impl->path);
}

Result<> writeFile(const std::filesystem::path &path, std::span<const std::byte> bytes)
{
    Result<AtomicFile> file = AtomicFile::create(path);
    if (!file)
        return file.error();
    if (Result<> written = file->write(bytes); !written)
        return written;
    return file->commit();
}

} // namespace kx
