#include "FileTestSupport.h"

#include <sndfile.h>
#include <sys/stat.h>
#include <tuple>

namespace kx::test
{

namespace
{

namespace fs = std::filesystem;

/// A WAVE file of 1,000 stereo 16-bit frames, whose header is 44 bytes.
Bytes wave()
{
    return readBytes(make({.frames = 1000}));
}

/// An AIFF file of as many: COMM's body at 20, the size of SSND at 42, samples at 54.
Bytes aiff()
{
    return readBytes(make({.codec = Codec::AIFF, .frames = 1000}));
}

Bytes alacInCAF()
{
    return readBytes(sndfileOf(SF_FORMAT_CAF | SF_FORMAT_ALAC_16, 44100, samples({.frames = 20'000})));
}

/// A LIST chunk that says it has `size` bytes, and has 20, at `offset`.
Bytes withList(const Bytes &bytes, std::size_t offset, uint32_t size)
{
    const Bytes list = withLittle(bytesOf("LIST") + Bytes(24, 'x'), 4, size, 4);
    return part(bytes, 0, offset) + list + part(bytes, offset);
}

OSStatus statusOf(const Bytes &bytes)
{
    return FileReader::open(std::make_shared<MemorySource>(bytes)).status();
}

TEST(HostileFiles, WhatIsNoRegularFileWithSoundIsRefusedAtOnce)
{
    const fs::path folder = temporaryPath("kinds");
    fs::create_directory(folder);
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    fs::create_symlink("loop", folder / "loop");
    const std::pair<fs::path, OSStatus> cases[] = {
        {folder / "missing", kAudioFileFileNotFoundError},
        {folder / "loop", kAudioFileFileNotFoundError},
        {folder / std::string(300, 'n'), kAudioFileFileNotFoundError},
        {"", kAudioFileFileNotFoundError},
        {folder, kAudioFileUnsupportedFileTypeError},
        {folder / "fifo", kAudioFileUnsupportedFileTypeError},
        {"/dev/zero", kAudioFileUnsupportedFileTypeError},
        {fileOf("empty", {}), kAudioFileInvalidFileError},
        {fileOf("text.wav", bytesOf("hello there\n")), kAudioFileUnsupportedFileTypeError},
        {fileOf("list.mp3", bytesOf("ffconcat version 1.0\nfile other.wav\n")), kAudioFileUnsupportedFileTypeError},
    };
    for (const auto &[path, status] : cases) {
        const OpenFile file(path);
        EXPECT_EQ(file.status, status) << path;
        EXPECT_EQ(file.file, nullptr) << path;
    }
}

TEST(HostileFiles, LyingSizesGiveWhatIsThere)
{
    const std::tuple<const char *, Bytes, int64_t> cases[] = {
        {"data of 4 GiB", withLittle(wave(), 40, UINT32_MAX, 4), 1000},
        {"data of 4 GiB - 8", withLittle(wave(), 40, 0xFFFFFFF8, 4), 1000},
        {"data of nothing", withLittle(wave(), 40, 0, 4), 0},
        {"data shorter", withLittle(wave(), 40, 2000, 4), 500},
        {"half a frame too many", part(wave(), 0, 4042), 999},
        {"cut in the middle", part(wave(), 0, 44 + 2000), 500},
        {"RIFF size 0", withLittle(wave(), 4, 0, 4), 1000},
        {"zeros behind the data", wave() + Bytes(100'000), 1000},
        {"LIST of 2 GiB behind the data", withList(wave(), 4044, 0x7FFFFFFF), 1000},
        {"LIST of 4 GiB behind the data", withList(wave(), 4044, UINT32_MAX), 1000},
        {"COMM of more than SSND", withBig(aiff(), 22, 5000, 4), 1000},
        {"COMM of 4 G frames", withBig(aiff(), 22, UINT32_MAX, 4), 1000},
        {"SSND of 4 GiB", withBig(aiff(), 42, UINT32_MAX, 4), 1000},
        {"AIFF cut", part(aiff(), 0, 54 + 400), 100},
    };
    for (const auto &[name, bytes, frames] : cases) {
        const Outcome outcome = outcomeOf(bytes);
        EXPECT_EQ(std::pair(outcome.announced, outcome.delivered()), std::pair(frames, frames)) << name;
    }
    for (const uint32_t size : {0x7FFFFFFFU, 0x10000000U, UINT32_MAX})
        EXPECT_EQ(statusOf(withList(wave(), 36, size)), kAudioFileInvalidFileError) << size << " before the data";
}

TEST(HostileFiles, RatesAndChannelsHaveLimits)
{
    const auto expectTaken = [](const Bytes &bytes, bool isTaken, uint32_t value) {
        EXPECT_EQ(statusOf(bytes), isTaken ? noErr : kAudioFileUnsupportedDataFormatError) << value;
    };
    for (const uint32_t rate : {0U, 999U, 1000U, 768'000U, 768'001U, 0x80000000U, UINT32_MAX})
        expectTaken(withLittle(wave(), 24, rate, 4), rate >= 1000 && rate <= 768'000, rate);
    for (const uint32_t channels : {0U, 1U, 64U, 65U, 65'535U}) {
        const bool isTaken = channels >= 1 && channels <= 64;
        expectTaken(withLittle(withLittle(wave(), 22, channels, 2), 32, channels * 2, 2), isTaken, channels);
        expectTaken(withBig(aiff(), 20, channels, 2), isTaken, channels);
    }
    for (const uint32_t exponent : {0x0000U, 0x7FFFU, 0xFFFFU, 0x4FFFU}) // of the rate
        expectTaken(withBig(aiff(), 28, exponent, 2), false, exponent);
}

TEST(HostileFiles, ALACInCAFBearsDamage)
{
    expectToSurvive(openPCMContainer, alacInCAF());
    expectSoundOfTheBytesAlone(alacInCAF(), 80);
}

TEST(HostileFiles, APacketTableThatMakesNoSenseIsPlayedAsFarAsItDoesInSilence)
{
    const Bytes whole = alacInCAF();
    const std::size_t table = placeOf("pakt", whole);
    testing::internal::CaptureStdout();
    for (const std::size_t good : {0U, 2U, 4U}) // bytes: two a packet, behind 36
        EXPECT_EQ(decoded(openPCMContainer, withBig(whole, table + 36 + good, 0x818181818181, 6)).size(), good * 4096);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    const Bytes empty = bytesOf("pakt") + Bytes{0, 0, 0, 0, 0, 0, 0, 24} + Bytes(24);
    EXPECT_EQ(statusOf(part(whole, 0, table) + empty + part(whole, table)), kAudioFileInvalidFileError);
}

TEST(HostileFiles, ThatDidHarmOnceDoNoMore)
{
    int files = 0;
    for (const auto &entry : fs::directory_iterator(KX_HOSTILE_FILES)) {
        SCOPED_TRACE(entry.path());
        const Bytes bytes = readBytes(entry.path());
        expectSoundOfTheBytesAlone(bytes, 100);
        const Outcome outcome = outcomeOf(bytes, INT64_MAX);
        EXPECT_EQ(outcome.delivered(), outcome.announced);
        ++files;
    }
    EXPECT_GT(files, 0);
}

TEST(FaultsWhileReading, ADiskErrorIsGivenAfterTheFramesBeforeIt)
{
    constexpr int64_t kFaultFrame = 150'000;
    for (const double clientRate : {44100.0, 48000.0}) {
        const auto source = std::make_shared<MemorySource>(readBytes(make({.frames = 200'000})));
        auto opened = FileReader::open(source);
        ASSERT_TRUE(opened);
        FileReader &reader = **opened;
        ASSERT_EQ(reader.setClient(floats(clientRate)), noErr);
        source->failFrom(44 + kFaultFrame * 4, kAudioFileReadError);
        OSStatus status = noErr;
        const auto got = static_cast<double>(readOn(reader, INT64_MAX, 512, &status).size() / 2);
        const double reached = kFaultFrame * clientRate / 44100;
        EXPECT_LE(got, reached);
        EXPECT_GT(got, reached - 8192);
        EXPECT_EQ(status, kAudioFileReadError);
        EXPECT_TRUE(readOn(reader, 512, 512, &status).empty() && status == kAudioFileReadError) << "it stays";
        ASSERT_EQ(reader.seek(10), noErr);
        EXPECT_EQ(readOn(reader, 512).size(), 1024U) << "the good part can still be read";
    }
}

} // namespace
} // namespace kx::test
