#include "FileTestSupport.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <fcntl.h>
#include <functional>
#include <random>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <tuple>
#include <unistd.h>

namespace
{

bool withoutUnnamedFiles = false;
std::function<bool(bool isFolder)> syncs; ///< whether it works

} // namespace

// These stand in for the C library's own in the test program.
extern "C" int openat(int folder, const char *path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const bool isUnnamed = (flags & O_TMPFILE) == O_TMPFILE;
    const auto mode = isUnnamed || (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    errno = EOPNOTSUPP;
    return withoutUnnamedFiles && isUnnamed ? -1 : static_cast<int>(::syscall(SYS_openat, folder, path, flags, mode));
}

extern "C" int fsync(int file)
{
    struct stat info = {};
    ::fstat(file, &info);
    errno = EIO;
    return syncs && !syncs(S_ISDIR(info.st_mode)) ? -1 : static_cast<int>(::syscall(SYS_fsync, file));
}

namespace kx::test
{

namespace
{

namespace fs = std::filesystem;

/// The folder's own entries, hidden ones included.
std::size_t entries(const fs::path &folder)
{
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), {}));
}

fs::path newFolder(const std::string &name)
{
    const auto path = temporaryPath(name);
    fs::create_directory(path);
    return path;
}

/// Writes `frames` silent frames to `path`, slice by slice, until something fails; the statuses of writing and closing.
std::pair<OSStatus, OSStatus> writeSilence(const fs::path &path, int64_t frames)
{
    NewFile file(path);
    EXPECT_EQ(file.status, noErr);
    OSStatus status = noErr;
    for (int64_t done = 0; done < frames && status == noErr; done += 512)
        status = file.write(std::vector<int16_t>(1024));
    return {status, file.close()};
}

TEST(Writing, BlockSizeDoesNotMatterNeitherToRateNorChannels)
{
    using Way =
        std::tuple<AudioFileTypeID, AudioStreamBasicDescription, uint32_t, double>; // channels of the source, room
    for (const auto &[type, format, channels, room] : {Way{kAudioFileAIFFType, standardFormat(), 2, 0},
                                                       {kAudioFileWAVEType, native16(48000), 1, 2.0 / 32768},
                                                       {kAudioFileWAVEType, native16(), 6, 1.0 / 32768}}) {
        const Media media{.channels = channels, .frames = 700'000, .signal = Signal::Noise}; // several batches
        const auto source = floatSamples(media);
        const auto path = temporaryPath("blocks");
        NewFile file(path, type, format);
        ASSERT_EQ(file.setClient(floats(44100, channels)), noErr);
        std::mt19937 random(7);
        for (auto from = source.begin(); from < source.end();) {
            const auto to = from + std::min<std::ptrdiff_t>(channels * (random() % 40'000), source.end() - from);
            ASSERT_EQ(file.write(std::vector(std::exchange(from, to), to), channels), noErr);
        }
        ASSERT_EQ(file.close(), noErr);
        OpenFile straight(make(media), floats(format.mSampleRate));
        OpenFile reader(path, floats(format.mSampleRate));
        const auto expected = readAll<float>(straight);
        const auto found = readAll<float>(reader);
        ASSERT_EQ(found.size(), expected.size());
        for (std::size_t i = 0; i < found.size(); ++i)
            ASSERT_NEAR(found[i], expected[i], room) << i;
    }
}

TEST(Writing, TheOldFileStandsUntilTheNewOneIsWholeAndHandsOnItsMode)
{
    const auto modeOf = [](const fs::path &path) { return static_cast<uint32_t>(fs::status(path).permissions()); };
    const auto folder = newFolder("atomic");
    const auto target = folder / "song.aiff";
    writeBytes(target, {1});
    ::chmod(target.c_str(), 04604); // to run as the owner is not handed on
    fs::create_symlink("song.aiff", folder / "link.aiff");
    fs::create_symlink("link.aiff", folder / "chain.aiff");
    for (const bool isAbandoned : {true, false}) {
        NewFile file(folder / "chain.aiff");
        ASSERT_EQ(file.write(std::vector<int16_t>(2000)), noErr);
        EXPECT_EQ(readBytes(target), Bytes{1});
        EXPECT_EQ(entries(folder), 3U) << "a killed process would leave nothing";
        ASSERT_EQ(isAbandoned ? noErr : file.close(), noErr);
    }
    EXPECT_EQ(fs::file_size(target), 54U + 4000U);
    EXPECT_EQ(entries(folder), 3U);
    EXPECT_EQ(modeOf(target), 0604U);
    EXPECT_TRUE(fs::is_symlink(folder / "link.aiff"));

    const mode_t before = ::umask(027);
    for (const std::string &name : {std::string("%s%n \n"), std::string("-rf"), std::string("\xFF\xFE"),
                                    std::string(255, 'n'), std::string("\xC3\xA4.aiff")}) {
        NewFile file(folder / name);
        ASSERT_EQ(file.write(std::vector<int16_t>(20)), noErr) << name;
        ASSERT_EQ(file.close(), noErr) << name;
        EXPECT_EQ(OpenFile(folder / name).length(), 10) << name;
        EXPECT_EQ(modeOf(folder / name), 0640U) << "the mask of the process";
    }
    ::umask(before);
}

/// With and without files that have no name.
TEST(Writing, AFileThatComesMeanwhileIsReplacedOnlyIfItMayBe)
{
    for (const bool named : {false, true}) {
        withoutUnnamedFiles = named;
        for (const uint32_t flags : {0U, uint32_t{kAudioFileFlags_EraseFile}}) {
            SCOPED_TRACE(testing::Message() << "named " << named << ", flags " << flags);
            const auto folder = newFolder("race");
            const auto moved = newFolder("moved") / "folder";
            const std::string name(255, 'n'); // leaves no room for another one made of it
            NewFile file(folder / name, kAudioFileAIFFType, standardFormat(), flags);
            fs::rename(folder, moved);
            writeBytes(moved / name, {1});
            EXPECT_EQ(file.close(), flags == 0 ? kAudioFilePermissionsError : noErr);
            EXPECT_EQ(readBytes(moved / name) == Bytes{1}, flags == 0);
            EXPECT_EQ(entries(moved), 1U);
        }
    }
    withoutUnnamedFiles = false;
}

TEST(Writing, TheBytesAreOnTheDiskBeforeTheName)
{
    const auto target = newFolder("order") / "out.aiff";
    std::string order;
    syncs = [&](bool isFolder) {
        order += std::string(isFolder ? "folder" : "bytes") + (fs::exists(target) ? ", name; " : "; ");
        return true;
    };
    EXPECT_EQ(writeSilence(target, 1024).second, noErr);
    EXPECT_EQ(order, "bytes; folder, name; ");
    syncs = [](bool) { return false; };
    EXPECT_EQ(writeSilence(target, 2048).second, kAudioFileWriteError);
    syncs = nullptr;
    EXPECT_EQ(OpenFile(target).length(), 1024) << "the old file stands";
    EXPECT_EQ(entries(target.parent_path()), 1U);
}

TEST(Writing, AFileSizeLimitFailsTheWriteAndLeavesTheOldFile)
{
    const auto target = fileOf("limited.aiff", {1});
    const Cost child = inChild([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{3'000'000, 3'000'000}; // several batches
        ::setrlimit(RLIMIT_FSIZE, &limit);
        return writeSilence(target, 2'000'000) == std::pair(kAudioFileWriteError, kAudioFileWriteError) ? 0 : 1;
    });
    EXPECT_EQ(child.status, 0);
    EXPECT_EQ(readBytes(target), Bytes{1});
}

TEST(Writing, LinksOfStrangersInSharedFoldersAreNotFollowed)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to make a stranger's link";
    const auto folder = newFolder("shared");
    const auto target = newFolder("own") / "out.aiff";
    fs::create_symlink(target, folder / "link.aiff");
    ASSERT_EQ(::lchown((folder / "link.aiff").c_str(), 65534, 65534), 0);
    for (const mode_t mode : {0755U, 0777U, 01755U, 01777U}) {
        ASSERT_EQ(::chmod(folder.c_str(), mode), 0);
        EXPECT_EQ(NewFile(folder / "link.aiff").status, mode == 01777 ? kAudioFilePermissionsError : noErr) << mode;
    }
}

TEST(Writing, UnsuitableDestinationsAndFormatsAreRefusedAtOnce)
{
    const auto folder = newFolder("refused");
    const auto here = folder / "here";
    writeBytes(here, {1});
    fs::create_symlink("loop", folder / "loop");
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    const auto aiff = standardFormat();
    const std::tuple<fs::path, AudioFileTypeID, AudioStreamBasicDescription, uint32_t, OSStatus> cases[] = {
        {folder / "missing" / "a", kAudioFileAIFFType, aiff, 1, kAudioFileFileNotFoundError},
        {folder / "loop", kAudioFileAIFFType, aiff, 1, kAudioFileFileNotFoundError},
        {folder / std::string(256, 'n'), kAudioFileAIFFType, aiff, 1, kAudioFileFileNotFoundError},
        {folder, kAudioFileAIFFType, aiff, 1, kAudioFileUnsupportedFileTypeError},
        {folder / "fifo", kAudioFileAIFFType, aiff, 1, kAudioFileUnsupportedFileTypeError},
        {"/dev/null", kAudioFileAIFFType, aiff, 1, kAudioFileUnsupportedFileTypeError},
        {here, kAudioFileAIFFType, aiff, 0, kAudioFilePermissionsError}, // not allowed to replace it
        {here, fourCharCode("caff"), aiff, 1, kAudioFileUnsupportedFileTypeError},
        {here, kAudioFileAIFFType, native16(), 1, kAudioFileUnsupportedDataFormatError},
        {here, kAudioFileWAVEType, aiff, 1, kAudioFileUnsupportedDataFormatError},
        {here, kAudioFileAIFFType, planarFloat(44100, 2), 1, kAudioFileUnsupportedDataFormatError},
        {here, kAudioFileWAVEType, planarFloat(44100, 2), 1, kAudioFileUnsupportedDataFormatError},
        {here, kAudioFileWAVEType, native16(44100, 65), 1, kAudioFileUnsupportedDataFormatError},
    };
    for (const auto &[path, type, format, flags, status] : cases)
        EXPECT_EQ(NewFile(path, type, format, flags).status, status) << path << ", " << format.mFormatFlags;
    EXPECT_EQ(readBytes(here), Bytes{1});
    EXPECT_EQ(entries(folder), 3U);
}

TEST(Writing, WithoutRightsNothingIsBegun)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to become somebody else";
    const auto folder = newFolder("rights");
    const auto old = folder / "old.aiff";
    writeBytes(old, {1, 2, 3});
    const auto expectRefusedToNobody = [](const char *what, const std::function<OSStatus()> &open) {
        const auto body = [&] { return ::setuid(65534) == 0 && open() == kAudioFilePermissionsError ? 0 : 1; };
        EXPECT_EQ(inChild(body).status, 0) << what;
    };
    ::chmod(folder.parent_path().c_str(), 0755);
    ::chmod(folder.c_str(), 0755);
    expectRefusedToNobody("a new file", [&] { return NewFile(folder / "new.aiff").status; });
    ::chmod(folder.c_str(), 0777); // the folder may be written, the file may not
    expectRefusedToNobody("the old file", [&] { return NewFile(old).status; });
    EXPECT_EQ(readBytes(old), (Bytes{1, 2, 3}));
    EXPECT_EQ(entries(folder), 1U);
    ::chmod(old.c_str(), 0600);
    expectRefusedToNobody("reading", [&] { return OpenFile(old).status; });
}

TEST(Writing, SizesBeyondThirtyTwoBitsAreRefusedBeforeTheWrite)
{
    const auto path = temporaryPath("large");
    EXPECT_EQ(ExtAudioFileMaximumDataBytes(kAudioFileAIFFType), 4'294'967'248);
    EXPECT_LE(ExtAudioFileMaximumDataBytes(kAudioFileWAVEType), 4'294'967'295 - 44);
    // Each client frame of one byte makes a file frame of 256.
    NewFile file(path, kAudioFileAIFFType, interleaved(44100, 64, 32, standardFormat().mFormatFlags));
    ASSERT_EQ(file.setClient(interleaved(44100, 1, 8, kAudioFormatFlagIsSignedInteger)), noErr);
    const auto most = static_cast<std::size_t>(ExtAudioFileMaximumDataBytes(kAudioFileAIFFType) / 256);
    EXPECT_EQ(file.write(std::vector<int8_t>(most + 1), 1), kAudioFileTooLargeError);
    EXPECT_EQ(file.write(std::vector<int8_t>(10), 1), noErr) << "what fits is still taken";
    EXPECT_EQ(file.write(std::vector<int8_t>(most - 9), 1), kAudioFileTooLargeError);
    ASSERT_EQ(file.close(), noErr);
    EXPECT_EQ(OpenFile(path).length(), 10);
}

} // namespace
} // namespace kx::test
