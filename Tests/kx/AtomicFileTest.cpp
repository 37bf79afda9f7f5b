#include "kx/AtomicFile.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

namespace kx::test
{
namespace
{

TEST(AtomicFile, LeavesWhatWasThereUntilItIsCommittedOnceAndSaysWhyItCannot)
{
    const std::vector<uint8_t> old{1};
    const std::vector<uint8_t> fresh{2, 3};
    const auto bytes = std::as_bytes(std::span(fresh));
    const auto path = fileOf("notes", old);
    AtomicFile::create(path).value().write(bytes).value(); // and abandoned
    EXPECT_EQ(readBytes(path), old);
    AtomicFile file = AtomicFile::create(path).value();
    file.write(bytes).value();
    EXPECT_EQ(readBytes(path), old);
    file.commit().value();
    EXPECT_EQ(readBytes(path), fresh);
    EXPECT_EQ(file.write(bytes).error().code, ErrorCode::InvalidArgument);
    EXPECT_EQ(file.commit().error().code, ErrorCode::InvalidArgument);
    EXPECT_EQ(writeFile(path.parent_path(), bytes).error().code, ErrorCode::NotPermitted);
    EXPECT_EQ(writeFile(path / "below a file", bytes).error().code, ErrorCode::NotFound);
    EXPECT_EQ(writeFile("/dev/full", bytes).error().message(), "/dev/full: the disk is full");
}

} // namespace
} // namespace kx::test
