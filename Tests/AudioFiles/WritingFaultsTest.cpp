#include "FileTestSupport.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace kx::test
{

namespace
{

namespace fs = std::filesystem;

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

/// A folder with one old file in it, which must outlive every failure.
class WritingFaults : public testing::Test
{
protected:
    void SetUp() override
    {
        fs::create_directory(folder_);
        writeBytes(old_, {1, 2, 3});
    }
    void expectOldStateOf(const fs::path &folder) const
    {
        EXPECT_EQ(readBytes(folder / "old.aiff"), (std::vector<uint8_t>{1, 2, 3}));
        EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1);
    }

    fs::path folder_ = temporaryPath("faults");
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
    const auto isRefusedToNobody = [](const fs::path &path) {
        return inChild([&] {
            if (::setuid(65534) != 0)
                return 2;
            return NewFile(path).status() == kAudioFilePermissionsError ? 0 : 1;
        });
    };
    EXPECT_EQ(isRefusedToNobody(folder_ / "new.aiff"), 0);
    EXPECT_EQ(isRefusedToNobody(old_), 0);
    ::chmod(folder_.c_str(), 0777); // the folder may be written, the file may not
    EXPECT_EQ(isRefusedToNobody(old_), 0);
    expectOldStateOf(folder_);
}

TEST_F(WritingFaults, AKilledWriterLeavesTheOldFileAndANamedRest)
{
    const int result = inChild([&] {
        NewFile file(old_);
        file.write(std::vector<int16_t>(2'000'000));
        return ::raise(SIGKILL);
    });
    EXPECT_EQ(result, 128 + SIGKILL);
    EXPECT_EQ(readBytes(old_).size(), 3U);
    std::vector<std::string> rest;
    for (const auto &entry : fs::directory_iterator(folder_))
        if (entry.path() != old_)
            rest.push_back(entry.path().filename());
    ASSERT_EQ(rest.size(), 1U);
    EXPECT_EQ(rest[0].substr(0, 13), ".old.aiff.kx-");
}

TEST_F(WritingFaults, SizesBeyondThirtyTwoBitsAreRefusedBeforeTheWrite)
{
    EXPECT_EQ(ExtAudioFileMaximumDataBytes(kAudioFileAIFFType), 4'294'967'248);
    EXPECT_LE(ExtAudioFileMaximumDataBytes(kAudioFileWAVEType), 4'294'967'295 - 44);
    EXPECT_EQ(ExtAudioFileMaximumDataBytes(fourCharCode("caff")), 0);
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
