#include "FileTestSupport.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdarg>
#include <fcntl.h>
#include <functional>
#include <random>
#include <sndfile.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
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

constexpr int64_t kManyFrames = 2'000'000; // 8 MB, several batches

struct Outcome {
    OSStatus write = noErr;
    OSStatus close = noErr;
};

/// Writes `frames` silent frames to `path`, slice by slice, until something fails.
Outcome writeSilence(const fs::path &path, int64_t frames)
{
    Outcome outcome;
    NewFile file(path);
    EXPECT_EQ(file.status(), noErr);
    for (int64_t done = 0; done < frames && outcome.write == noErr; done += 512)
        outcome.write = file.write(std::vector<int16_t>(1024));
    outcome.close = file.close();
    return outcome;
}

struct FileKind {
    AudioFileTypeID type;
    AudioStreamBasicDescription format;
    int sndfileFormat;
};

std::vector<FileKind> writableKinds(uint32_t channels)
{
    constexpr uint32_t kNativeOrder = kAudioFormatFlagIsSignedInteger;
    constexpr uint32_t kBigEndian = kNativeOrder | kAudioFormatFlagIsBigEndian;
    const auto layout = [&](uint32_t bits, uint32_t flags) { return interleaved(48000, channels, bits, flags); };
    const int wav = channels > 2 ? SF_FORMAT_WAVEX : SF_FORMAT_WAV;
    return {{kAudioFileAIFFType, layout(8, kBigEndian), SF_FORMAT_AIFF | SF_FORMAT_PCM_S8},
            {kAudioFileAIFFType, layout(16, kBigEndian), SF_FORMAT_AIFF | SF_FORMAT_PCM_16},
            {kAudioFileAIFFType, layout(24, kBigEndian), SF_FORMAT_AIFF | SF_FORMAT_PCM_24},
            {kAudioFileAIFFType, layout(32, kBigEndian), SF_FORMAT_AIFF | SF_FORMAT_PCM_32},
            {kAudioFileWAVEType, layout(8, 0), wav | SF_FORMAT_PCM_U8},
            {kAudioFileWAVEType, layout(16, kNativeOrder), wav | SF_FORMAT_PCM_16},
            {kAudioFileWAVEType, layout(24, kNativeOrder), wav | SF_FORMAT_PCM_24},
            {kAudioFileWAVEType, layout(32, kNativeOrder), wav | SF_FORMAT_PCM_32},
            {kAudioFileWAVEType, layout(32, kAudioFormatFlagIsFloat), wav | SF_FORMAT_FLOAT},
            {kAudioFileWAVEType, layout(64, kAudioFormatFlagIsFloat), wav | SF_FORMAT_DOUBLE}};
}

TEST(Writing, AnotherReaderFindsEveryKindAsItWasWritten)
{
    for (const uint32_t channels : {1U, 2U, 6U})
        for (const FileKind &kind : writableKinds(channels))
            for (const int64_t frames : {0, 1, 1001}) {
                SCOPED_TRACE(testing::Message()
                             << statusName(static_cast<OSStatus>(kind.type)) << ' ' << kind.format.mBitsPerChannel
                             << " bits, " << channels << " x " << frames);
                const auto path = temporaryPath("out");
                const auto source = floatSamples({.channels = channels, .frames = frames, .bits = 8});
                NewFile file(path, kind.type, kind.format);
                ASSERT_EQ(file.status(), noErr);
                ASSERT_EQ(file.setClient(interleaved(48000, channels, 32, kAudioFormatFlagIsFloat)), noErr);
                ASSERT_EQ(file.write(source, channels), noErr);
                ASSERT_EQ(file.close(), noErr);
                SF_INFO info = {};
                SNDFILE *reader = sf_open(path.c_str(), SFM_READ, &info);
                ASSERT_NE(reader, nullptr);
                EXPECT_EQ(info.format, kind.sndfileFormat);
                EXPECT_EQ(info.frames, frames);
                EXPECT_EQ(info.samplerate, 48000);
                EXPECT_EQ(info.channels, static_cast<int>(channels));
                std::vector<float> found(source.size());
                EXPECT_EQ(sf_readf_float(reader, found.data(), frames), frames);
                EXPECT_EQ(found, source);
                sf_close(reader);
                EXPECT_EQ(fs::file_size(path) % 2, 0U);
            }
}

TEST(Writing, BlockSizeDoesNotMatterAndFloatsBecomeSixteenBits)
{
    const MediaSpec spec{.frames = 700'000, .signal = Signal::Noise}; // several batches
    const auto source = floatSamples(spec);
    const auto path = temporaryPath("blocks.aiff");
    NewFile file(path);
    ASSERT_EQ(file.setClient(interleaved(44100, 2, 32, kAudioFormatFlagIsFloat)), noErr);
    std::mt19937 random(7);
    for (int64_t done = 0, count = 0; done < 2 * spec.frames; done += count) {
        count = std::min<int64_t>(2 * (random() % 40'000), 2 * spec.frames - done);
        ASSERT_EQ(file.write(std::vector(source.begin() + done, source.begin() + done + count)), noErr);
    }
    ASSERT_EQ(file.close(), noErr);
    OpenFile reader(path, native16());
    EXPECT_TRUE(std::ranges::equal(readAll<int16_t>(reader), samples(spec)));
    EXPECT_EQ(fs::file_size(path), 54U + 4U * 700'000);
}

TEST(Writing, RateAndChannelsAreConvertedToTheExactLength)
{
    const auto path = temporaryPath("converted.wav");
    NewFile file(path, kAudioFileWAVEType, interleaved(48000, 2, 16, kAudioFormatFlagIsSignedInteger));
    ASSERT_EQ(file.setClient(interleaved(44100, 1, 32, kAudioFormatFlagIsFloat)), noErr);
    std::vector<float> tone(10'001);
    for (std::size_t i = 0; i < tone.size(); ++i)
        tone[i] = 0.5F * static_cast<float>(std::sin(static_cast<double>(i) * 0.05));
    ASSERT_EQ(file.write(tone, 1), noErr);
    ASSERT_EQ(file.close(), noErr);
    OpenFile reader(path, native16(48000));
    EXPECT_EQ(reader.length(), 10'001 * 48'000 / 44'100);
    const auto stereo = readAll<int16_t>(reader);
    for (std::size_t n = 500; n < 10'000; ++n) {
        const double expected = 16384 * std::sin(static_cast<double>(n) * 44100 / 48000 * 0.05);
        ASSERT_NEAR(stereo[2 * n], expected, 2) << n;
        ASSERT_EQ(stereo[2 * n], stereo[2 * n + 1]);
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
            NewFile file(folder / "new.aiff", kAudioFileAIFFType, standardFormat(), flags);
            fs::rename(folder, moved);
            writeBytes(moved / "new.aiff", {1});
            EXPECT_EQ(file.close(), flags == 0 ? kAudioFilePermissionsError : noErr);
            EXPECT_EQ(readBytes(moved / "new.aiff") == Bytes{1}, flags == 0);
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
    EXPECT_EQ(writeSilence(target, 1024).close, noErr);
    EXPECT_EQ(order, "bytes; folder, name; ");
    syncs = [](bool) { return false; };
    EXPECT_EQ(writeSilence(target, 2048).close, kAudioFileWriteError);
    syncs = nullptr;
    EXPECT_EQ(OpenFile(target).length(), 1024) << "the old file stands";
    EXPECT_EQ(entries(target.parent_path()), 1U);
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
        EXPECT_EQ(NewFile(folder / "link.aiff").status(), mode == 01777 ? kAudioFilePermissionsError : noErr) << mode;
    }
}

TEST(Writing, UnsuitableDestinationsAndFormatsAreRefusedAtOnce)
{
    const auto folder = newFolder("refused");
    const auto here = folder / "here";
    writeBytes(here, {1});
    fs::create_symlink("loop", folder / "loop");
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    const std::pair<fs::path, OSStatus> places[] = {
        {folder / "missing" / "a", kAudioFileFileNotFoundError},
        {folder / "loop", kAudioFileFileNotFoundError},
        {folder / std::string(256, 'n'), kAudioFileFileNotFoundError},
        {folder, kAudioFileUnsupportedFileTypeError},
        {folder / "fifo", kAudioFileUnsupportedFileTypeError},
        {"/dev/null", kAudioFileUnsupportedFileTypeError},
    };
    for (const auto &[path, status] : places)
        EXPECT_EQ(NewFile(path).status(), status) << path;
    EXPECT_EQ(NewFile(here, kAudioFileAIFFType, standardFormat(), 0).status(), kAudioFilePermissionsError)
        << "not allowed to replace it";
    EXPECT_EQ(NewFile(here, fourCharCode("caff")).status(), kAudioFileUnsupportedFileTypeError);
    const std::pair<AudioFileTypeID, AudioStreamBasicDescription> formats[] = {
        {kAudioFileAIFFType, native16()},
        {kAudioFileWAVEType, standardFormat()},
        {kAudioFileAIFFType, planarFloat(44100, 2)},
        {kAudioFileWAVEType, native16(44100, 65)}};
    for (const auto &[type, format] : formats)
        EXPECT_EQ(NewFile(here, type, format).status(), kAudioFileUnsupportedDataFormatError) << format.mFormatFlags;
    EXPECT_EQ(readBytes(here), Bytes{1});
    EXPECT_EQ(entries(folder), 3U);
}

/// A folder with one old file in it, which must outlive every failure.
class WritingFaults : public testing::Test
{
protected:
    void SetUp() override { writeBytes(old_, {1, 2, 3}); }
    static void expectOldStateOf(const fs::path &folder)
    {
        EXPECT_EQ(readBytes(folder / "old.aiff"), (Bytes{1, 2, 3}));
        EXPECT_EQ(entries(folder), 1U);
    }

    fs::path folder_ = newFolder("faults");
    fs::path old_ = folder_ / "old.aiff";
};

TEST_F(WritingFaults, AFileSizeLimitFailsTheWriteAndLeavesTheOldFile)
{
    const int result = inChild([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{3'000'000, 3'000'000};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const Outcome outcome = writeSilence(old_, kManyFrames);
        return outcome.write == kAudioFileWriteError && outcome.close == kAudioFileWriteError ? 0 : 1;
    });
    EXPECT_EQ(result, 0);
    expectOldStateOf(folder_);
}

TEST_F(WritingFaults, AFullDiskSaysSoAndLeavesTheOldFile)
{
    const fs::path disk = folder_ / "disk";
    fs::create_directory(disk);
    if (::mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=4m") != 0)
        GTEST_SKIP() << "cannot mount a small disk here";
    writeBytes(disk / "old.aiff", {1, 2, 3});
    const Outcome full = writeSilence(disk / "old.aiff", kManyFrames);
    EXPECT_EQ(full.write, kAudioFileDiskFullError);
    EXPECT_EQ(full.close, kAudioFileDiskFullError);
    expectOldStateOf(disk);
    // Short enough for one batch: the room is missed when the file is closed.
    writeBytes(disk / "filler", std::vector<uint8_t>(4'000'000));
    const Outcome late = writeSilence(disk / "old.aiff", 200'000);
    EXPECT_EQ(late.write, noErr);
    EXPECT_EQ(late.close, kAudioFileDiskFullError);
    fs::remove(disk / "filler");
    expectOldStateOf(disk);
    EXPECT_EQ(writeSilence(disk / "old.aiff", 200'000).close, noErr);
    ::umount(disk.c_str());
}

TEST_F(WritingFaults, WithoutRightsNothingIsBegun)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to become somebody else";
    ::chmod(folder_.c_str(), 0755);
    ::chmod(folder_.parent_path().c_str(), 0755);
    const auto expectRefusedToNobody = [](const char *what, const std::function<OSStatus()> &open) {
        const auto body = [&] { return ::setuid(65534) == 0 && open() == kAudioFilePermissionsError ? 0 : 1; };
        EXPECT_EQ(inChild(body), 0) << what;
    };
    expectRefusedToNobody("a new file", [&] { return NewFile(folder_ / "new.aiff").status(); });
    ::chmod(folder_.c_str(), 0777); // the folder may be written, the file may not
    expectRefusedToNobody("the old file", [&] { return NewFile(old_).status(); });
    expectOldStateOf(folder_);
    ::chmod(old_.c_str(), 0600);
    expectRefusedToNobody("reading", [&] { return OpenFile(old_).status(); });
}

TEST_F(WritingFaults, SizesBeyondThirtyTwoBitsAreRefusedBeforeTheWrite)
{
    EXPECT_EQ(ExtAudioFileMaximumDataBytes(kAudioFileAIFFType), 4'294'967'248);
    EXPECT_LE(ExtAudioFileMaximumDataBytes(kAudioFileWAVEType), 4'294'967'295 - 44);
    // Each client frame of one byte makes a file frame of 256.
    const auto format = interleaved(44100, 64, 32, kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsBigEndian);
    const auto client = interleaved(44100, 1, 8, kAudioFormatFlagIsSignedInteger);
    NewFile file(old_, kAudioFileAIFFType, format);
    ASSERT_EQ(file.setClient(client), noErr);
    std::vector<int8_t> sound(1 << 24);
    AudioBufferList list{1, {{1, 1U << 24, sound.data()}}};
    const auto most = static_cast<uint32_t>(ExtAudioFileMaximumDataBytes(kAudioFileAIFFType) / 256);
    ASSERT_LT(most, 1U << 24);
    EXPECT_EQ(ExtAudioFileWrite(file.get(), most + 1, &list), kAudioFileTooLargeError);
    EXPECT_EQ(ExtAudioFileWrite(file.get(), 10, &list), noErr) << "what fits is still taken";
    EXPECT_EQ(ExtAudioFileWrite(file.get(), most - 9, &list), kAudioFileTooLargeError);
    ASSERT_EQ(file.close(), noErr);
    EXPECT_EQ(OpenFile(old_).length(), 10);
}

} // namespace
} // namespace kx::test
