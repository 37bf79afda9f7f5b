#include "FileTestSupport.h"
#include "KXFW/Platform/AudioFiles/FileReader.h"
#include "Tests/Support/HeapFill.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/MemorySource.h"

#include <gtest/gtest.h>

#include <sndfile.h>
#include <string>
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
    return waveBytes(44100, 2, 16, samples({.frames = 1000}));
}

/// An AIFF file of 1,000 stereo 16-bit frames: COMM's body at 20, the size of SSND at 42, samples at 54.
Bytes aiff()
{
    const auto path = temporaryPath("plain.aiff");
    NewFile file(path);
    EXPECT_EQ(file.write(std::vector<int16_t>(2000, 1234)), noErr);
    EXPECT_EQ(file.close(), noErr);
    return readBytes(path);
}

Bytes edited(Bytes bytes, const std::function<void(Bytes &)> &edit)
{
    edit(bytes);
    return bytes;
}

/// A LIST chunk that says it has `size` bytes, and has 20, at `offset`.
Bytes withList(const Bytes &bytes, std::ptrdiff_t offset, uint32_t size)
{
    Bytes head = bytesOf("LIST") + Bytes(24, 'x');
    putLittle(head, 4, size, 4);
    return Bytes(bytes.begin(), bytes.begin() + offset) + head + Bytes(bytes.begin() + offset, bytes.end());
}

/// The frames that the bytes announce for a client of 44,100 Hz, and those that come; -1 if they do not open.
struct Frames {
    int64_t announced = -1;
    int64_t delivered = -1;
    bool failed = false;
};

/// Opens and reads the bytes as an application would, `most` frames at the most, and once more from the middle; a
/// read may only fail where nothing more comes.
Frames framesIn(const Bytes &bytes, int64_t most = INT64_MAX)
{
    auto opened = FileReader::open(std::make_shared<MemorySource>(bytes));
    if (!opened)
        return {};
    FileReader &reader = **opened;
    EXPECT_EQ(reader.setClient(native16()), noErr);
    Frames result{reader.format().frames * 44100 / static_cast<int64_t>(reader.format().rate), 0};
    std::vector<int16_t> block(2 * 4096);
    const auto read = [&] {
        AudioBufferList list{1, {{2, 4 * 4096, block.data()}}};
        uint32_t frames = 4096;
        if (const OSStatus status = reader.read(frames, list); status != noErr) {
            EXPECT_EQ(std::pair(status, frames), std::pair(kAudioFileReadError, 0U));
            result.failed = true;
        }
        return frames;
    };
    for (uint32_t frames = 1; frames > 0 && result.delivered < most; result.delivered += frames)
        frames = read();
    EXPECT_EQ(reader.seek(reader.format().frames / 2), noErr);
    read();
    return result;
}

TEST(HostileFiles, WhatIsNoRegularFileWithSoundIsRefusedAtOnce)
{
    const fs::path folder = temporaryPath("kinds");
    fs::create_directory(folder);
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    fs::create_symlink("loop", folder / "loop");
    writeBytes(folder / "empty", {});
    writeBytes(folder / "text.wav", bytesOf("hello there\n"));
    writeBytes(folder / "list.mp3", bytesOf("ffconcat version 1.0\nfile other.wav\n"));
    const std::pair<fs::path, OSStatus> cases[] = {
        {folder / "missing", kAudioFileFileNotFoundError},
        {folder / "loop", kAudioFileFileNotFoundError},
        {folder / std::string(300, 'n'), kAudioFileFileNotFoundError},
        {"", kAudioFileFileNotFoundError},
        {folder, kAudioFileUnsupportedFileTypeError},
        {folder / "fifo", kAudioFileUnsupportedFileTypeError},
        {"/dev/zero", kAudioFileUnsupportedFileTypeError},
        {folder / "empty", kAudioFileInvalidFileError},
        {folder / "text.wav", kAudioFileUnsupportedFileTypeError},
        {folder / "list.mp3", kAudioFileUnsupportedFileTypeError},
    };
    for (const auto &[path, status] : cases) {
        const OpenFile file(path);
        EXPECT_EQ(file.status(), status) << path;
        EXPECT_EQ(file.get(), nullptr) << path;
    }
}

TEST(HostileFiles, LyingSizesGiveWhatIsThere)
{
    const auto data = [](uint32_t size) { return [size](Bytes &b) { putLittle(b, 40, size, 4); }; };
    const std::tuple<const char *, Bytes, int64_t> cases[] = {
        {"data of 4 GiB", edited(wave(), data(UINT32_MAX)), 1000},
        {"data of 4 GiB - 8", edited(wave(), data(0xFFFFFFF8)), 1000},
        {"data of nothing", edited(wave(), data(0)), 0},
        {"data shorter", edited(wave(), data(2000)), 500},
        {"half a frame too many", edited(wave(), [](Bytes &b) { b.resize(b.size() - 2); }), 999},
        {"cut in the middle", edited(wave(), [](Bytes &b) { b.resize(44 + 2000); }), 500},
        {"RIFF size 0", edited(wave(), [](Bytes &b) { putLittle(b, 4, 0, 4); }), 1000},
        {"zeros behind the data", edited(wave(), [](Bytes &b) { b.resize(b.size() + 100'000); }), 1000},
        {"LIST of 2 GiB behind the data", withList(wave(), 4044, 0x7FFFFFFF), 1000},
        {"LIST of 4 GiB behind the data", withList(wave(), 4044, UINT32_MAX), 1000},
        {"COMM of more than SSND", edited(aiff(), [](Bytes &b) { putBig(b, 22, 5000, 4); }), 1000},
        {"COMM of 4 G frames", edited(aiff(), [](Bytes &b) { putBig(b, 22, UINT32_MAX, 4); }), 1000},
        {"SSND of 4 GiB", edited(aiff(), [](Bytes &b) { putBig(b, 42, UINT32_MAX, 4); }), 1000},
        {"AIFF cut", edited(aiff(), [](Bytes &b) { b.resize(54 + 400); }), 100},
    };
    for (const auto &[name, bytes, frames] : cases) {
        const auto [announced, delivered, failed] = framesIn(bytes);
        EXPECT_TRUE(announced == frames && delivered == frames) << name << ": " << announced << ", " << delivered;
    }
    for (const uint32_t size : {0x7FFFFFFFU, 0x10000000U, UINT32_MAX})
        EXPECT_EQ(FileReader::open(std::make_shared<MemorySource>(withList(wave(), 36, size))).status(),
                  kAudioFileInvalidFileError)
            << "LIST of " << size << " before the data";
}

TEST(HostileFiles, RatesAndChannelsHaveLimits)
{
    const auto expectTaken = [](const Bytes &bytes, bool isTaken, uint32_t value) {
        EXPECT_EQ(FileReader::open(std::make_shared<MemorySource>(bytes)).status(),
                  isTaken ? noErr : kAudioFileUnsupportedDataFormatError)
            << value;
    };
    for (const uint32_t rate : {0U, 999U, 1000U, 768'000U, 768'001U, 0x80000000U, UINT32_MAX})
        expectTaken(edited(wave(), [rate](Bytes &b) { putLittle(b, 24, rate, 4); }), rate >= 1000 && rate <= 768'000,
                    rate);
    for (const uint32_t channels : {0U, 1U, 64U, 65U, 65'535U}) {
        const auto inWave = edited(wave(), [channels](Bytes &b) {
            putLittle(b, 22, channels, 2);
            putLittle(b, 32, channels * 2, 2);
        });
        for (const Bytes &bytes : {inWave, edited(aiff(), [channels](Bytes &b) { putBig(b, 20, channels, 2); })})
            expectTaken(bytes, channels >= 1 && channels <= 64, channels);
    }
    for (const uint32_t exponent : {0x0000U, 0x7FFFU, 0xFFFFU, 0x4FFFU}) // of the rate
        expectTaken(edited(aiff(), [exponent](Bytes &b) { putBig(b, 28, exponent, 2); }), false, exponent);
}

Bytes alacInCAF(int64_t frames)
{
    return readBytes(sndfileOf(SF_FORMAT_CAF | SF_FORMAT_ALAC_16, 44100, samples({.frames = frames})));
}

Bytes media(Codec codec, std::vector<std::string> options = {}, uint32_t rate = 44100)
{
    return readBytes(make({.codec = codec, .rate = rate, .frames = 9000, .options = std::move(options)}));
}

/// A good file of each codec, for damage.
struct Victim {
    const char *name;
    OpenDecoder open;
    Bytes (*bytes)();
};

const Victim kVictims[] = {
    {"Wave", openPCMContainer, wave},
    {"Aiff", openPCMContainer, aiff},
    {"AlacInCaf", openPCMContainer, [] { return alacInCAF(9000); }},
    {"Flac", openFLAC, [] { return media(Codec::FLAC); }},
    {"FlacInOgg", openOgg, [] { return media(Codec::OggFLAC); }},
    {"Vorbis", openOgg, [] { return media(Codec::Vorbis); }},
    {"Opus", openOgg, [] { return media(Codec::Opus, {}, 48000); }},
    {"Mp3Tagged", openMPEGAudio,
     [] {
         return media(Codec::MP3, {"-V", "6"});
     }},
    {"Mp3Rate8000", openMPEGAudio,
     [] {
         return media(Codec::MP3, {"-b", "8", "--resample", "8", "-t"}, 8000);
     }},
    {"Aac", openMPEG4,
     [] {
         return media(Codec::AAC, {"-movflags", "+faststart"});
     }},
    {"AacFragmented", openMPEG4,
     [] {
         return media(Codec::AAC, {"-movflags", "frag_keyframe+empty_moov"});
     }},
    {"Alac", openMPEG4,
     [] {
         return media(Codec::ALAC, {"-movflags", "+faststart"});
     }},
};

std::ostream &operator<<(std::ostream &out, const Victim &victim)
{
    return out << victim.name;
}

class Damage : public testing::TestWithParam<Victim>
{
};

TEST_P(Damage, IsSurvivedInSilenceAndWhatOpensKeepsItsWord)
{
    const OpenDecoder open = GetParam().open;
    const Bytes bytes = GetParam().bytes();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    forEachCut(bytes, 200, bytes.size() / 97, [open](const Bytes &cut, const std::string &what) {
        const auto [announced, delivered, failed] = framesIn(cut);
        EXPECT_EQ(delivered, announced) << what;
        EXPECT_FALSE(failed) << what;
        expectHonestDecoder(open, cut, what);
    });
    const auto check = [open](const Bytes &flipped, const std::string &what) {
        SCOPED_TRACE(what);
        const Bytes broken = resealed(flipped);
        constexpr int64_t kMost = 4'000'000;
        const auto [announced, delivered, failed] = framesIn(broken, kMost);
        EXPECT_TRUE(failed || delivered >= std::min(announced, kMost)) << "an early end is told";
        expectHonestDecoder(open, broken, what);
    };
    forEachFlip(bytes, bytes.size(), 200, check);
    forEachFlip(bytes, 1000, 400, check); // headers and indices
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(HostileFiles, APacketTableThatMakesNoSenseIsPlayedAsFarAsItDoesInSilence)
{
    const Bytes whole = alacInCAF(20'000);
    const std::string_view name = "pakt";
    const auto table = std::search(whole.begin(), whole.end(), name.begin(), name.end()) - whole.begin() + 12;
    const auto first = static_cast<std::size_t>(table) + 24;
    testing::internal::CaptureStdout();
    for (const std::size_t good : {0U, 2U, 4U}) { // bytes: two a packet
        Bytes broken = whole;
        std::fill_n(broken.begin() + static_cast<std::ptrdiff_t>(first + good), 6, uint8_t{0x81});
        auto opened = openBytes(openPCMContainer, broken);
        EXPECT_EQ(opened ? (*opened)->format().frames : 0, static_cast<int64_t>(good) / 2 * 4096);
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    const Bytes front(whole.begin(), whole.begin() + table - 12);
    const Bytes rest(whole.begin() + table - 12, whole.end());
    const Bytes empty = bytesOf("pakt") + Bytes{0, 0, 0, 0, 0, 0, 0, 24} + Bytes(24);
    EXPECT_EQ(openBytes(openPCMContainer, front + empty + rest).status(), kAudioFileInvalidFileError);
}

/// All that comes of the bytes: the status, and what is read before and after a seek.
std::vector<uint8_t> outcomeOf(const Bytes &bytes)
{
    auto opened = FileReader::open(std::make_shared<MemorySource>(bytes));
    const OSStatus status = opened.status();
    std::vector<uint8_t> outcome(sizeof status);
    std::memcpy(outcome.data(), &status, sizeof status);
    if (!opened)
        return outcome;
    std::vector<float> block(std::size_t{4096} * (*opened)->format().channels);
    for (const int64_t start : {int64_t{0}, (*opened)->format().frames / 3}) {
        EXPECT_EQ((*opened)->seek(start), noErr);
        uint32_t frames = 4096;
        for (int blocks = 0; blocks < 20 && frames == 4096; ++blocks) {
            AudioBufferList list{
                1, {{(*opened)->format().channels, static_cast<uint32_t>(block.size() * 4), block.data()}}};
            if ((*opened)->read(frames, list) != noErr)
                frames = 0;
            const auto *read = reinterpret_cast<const uint8_t *>(block.data());
            outcome.insert(outcome.end(), read, read + block.size() * sizeof(float) / 4096 * frames);
        }
    }
    return outcome;
}

void expectOneOutcome(const Bytes &flipped, const std::string &what)
{
    const Bytes bytes = resealed(flipped);
    std::vector<uint8_t> first;
    {
        const HeapFill fill(0x55);
        first = outcomeOf(bytes);
    }
    const HeapFill fill(0xAA);
    EXPECT_TRUE(outcomeOf(bytes) == first) << what;
}

TEST_P(Damage, IsHeardAsTheBytesOfTheFileSayWhateverTheHeapHolds)
{
    const Bytes bytes = GetParam().bytes();
    expectOneOutcome(bytes, "as it is");
    forEachFlip(bytes, bytes.size(), 40, expectOneOutcome);
    forEachFlip(bytes, 300, 40, expectOneOutcome);
}

INSTANTIATE_TEST_SUITE_P(Codecs, Damage, testing::ValuesIn(kVictims),
                         [](const testing::TestParamInfo<Victim> &row) { return row.param.name; });

TEST(HostileFiles, ThatDidHarmOnceDoNoMore)
{
    int files = 0;
    for (const auto &entry : fs::directory_iterator(KX_HOSTILE_FILES)) {
        SCOPED_TRACE(entry.path());
        const Bytes bytes = readBytes(entry.path());
        expectOneOutcome(bytes, "as it is");
        forEachFlip(bytes, bytes.size(), 100, expectOneOutcome);
        const auto [announced, delivered, failed] = framesIn(bytes);
        EXPECT_EQ(delivered, announced);
        ++files;
    }
    EXPECT_GT(files, 0);
}

TEST(FaultsWhileReading, ADiskErrorIsGivenAfterTheFramesBeforeIt)
{
    for (const double clientRate : {44100.0, 48000.0}) {
        const auto source = std::make_shared<MemorySource>(waveBytes(44100, 2, 16, samples({.frames = 200'000})));
        auto opened = FileReader::open(source);
        ASSERT_TRUE(opened);
        FileReader &reader = **opened;
        ASSERT_EQ(reader.setClient(native16(clientRate)), noErr);
        const int64_t faultFrame = 150'000;
        source->failFrom(44 + faultFrame * 4, kAudioFileReadError);
        std::vector<int16_t> block(2 * 512);
        AudioBufferList list{1, {{2, 4 * 512, block.data()}}};
        uint32_t frames = 512;
        int64_t got = 0;
        while (reader.read(frames, list) == noErr && frames == 512)
            got += frames;
        const double reached = static_cast<double>(faultFrame) * clientRate / 44100;
        EXPECT_LE(static_cast<double>(got), reached);
        EXPECT_GT(static_cast<double>(got), reached - 8192);
        frames = 512;
        EXPECT_EQ(reader.read(frames, list), kAudioFileReadError) << "it stays";
        ASSERT_EQ(reader.seek(10), noErr);
        frames = 512;
        EXPECT_EQ(reader.read(frames, list), noErr) << "the good part can still be read";
        EXPECT_EQ(frames, 512U);
    }
}

} // namespace
} // namespace kx::test
