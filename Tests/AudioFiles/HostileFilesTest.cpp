#include "FileTestSupport.h"
#include "KXFW/Platform/AudioFiles/FileReader.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/MemorySource.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <functional>
#include <random>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kx::test
{

namespace
{

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

void put(Bytes &bytes, std::size_t at, uint64_t value, int count)
{
    for (int i = 0; i < count; ++i)
        bytes[at + static_cast<std::size_t>(i)] = static_cast<uint8_t>(value >> (8 * i));
}

void putBig(Bytes &bytes, std::size_t at, uint64_t value, int count)
{
    for (int i = 0; i < count; ++i)
        bytes[at + static_cast<std::size_t>(i)] = static_cast<uint8_t>(value >> (8 * (count - 1 - i)));
}

/// A WAVE file of 1,000 stereo 16-bit frames, whose header is 44 bytes.
Bytes wave()
{
    return waveBytes(44100, 2, 16, samples({.frames = 1000}));
}

/// An AIFF file of 1,000 stereo 16-bit frames: COMM's body at 20, the size of SSND at 42, samples at 54.
Bytes aiff()
{
    const auto path = temporaryPath("plain.aiff");
    const auto format = standardFormat();
    ExtAudioFileRef file = nullptr;
    EXPECT_EQ(ExtAudioFileCreateWithURL(path, kAudioFileAIFFType, &format, nullptr, 0, &file), noErr);
    std::vector<int16_t> sound(2000, 1234);
    AudioBufferList list{1, {{2, 4000, sound.data()}}};
    EXPECT_EQ(ExtAudioFileWrite(file, 1000, &list), noErr);
    EXPECT_EQ(ExtAudioFileDispose(file), noErr);
    return readBytes(path);
}

Bytes edited(Bytes bytes, const std::function<void(Bytes &)> &edit)
{
    edit(bytes);
    return bytes;
}

Bytes withChunk(Bytes bytes, std::size_t at, std::string_view id, uint32_t size, std::size_t present)
{
    Bytes chunk(8 + present, 'x');
    std::copy(id.begin(), id.end(), chunk.begin());
    put(chunk, 4, size, 4);
    bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(at), chunk.begin(), chunk.end());
    return bytes;
}

/// The frames that can be read, after checking that they are those announced; -1 if the file does not open.
int64_t deliveredFrames(const Bytes &bytes, OSStatus &status)
{
    OpenFile file(fileOf("hostile", bytes), native16());
    status = file.status();
    if (status != noErr)
        return -1;
    const double rate = file.format(kExtAudioFileProperty_FileDataFormat).mSampleRate;
    const auto delivered = static_cast<int64_t>(readAll<int16_t>(file).size() / 2);
    EXPECT_EQ(delivered, static_cast<int64_t>(static_cast<double>(file.length()) * 44100 / rate));
    return delivered;
}

int inChild(const std::function<int()> &body)
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(body());
    int result = 0;
    ::waitpid(child, &result, 0);
    return WIFEXITED(result) ? WEXITSTATUS(result) : -1;
}

} // namespace

TEST(HostileFiles, WhatIsNoRegularFileWithSoundIsRefusedAtOnce)
{
    const fs::path folder = temporaryPath("kinds");
    fs::create_directory(folder);
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    fs::create_symlink("loop", folder / "loop");
    writeBytes(folder / "empty", {});
    writeBytes(folder / "text.wav", {'h', 'e', 'l', 'l', 'o', ' ', 't', 'h', 'e', 'r', 'e', '\n'});
    writeBytes(folder / "list.mp3", {'f', 'f', 'c', 'o', 'n', 'c', 'a', 't', ' ', 'v', 'e', 'r', 's', 'i', 'o', 'n'});
    sockaddr_un address = {AF_UNIX, {}};
    const std::string socketPath = "/tmp/kx-socket-" + std::to_string(::getpid());
    std::copy(socketPath.begin(), socketPath.end(), address.sun_path);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);

    const std::pair<fs::path, OSStatus> cases[] = {
        {folder / "missing", kAudioFileFileNotFoundError},
        {folder / "loop", kAudioFileFileNotFoundError},
        {folder / std::string(300, 'n'), kAudioFileFileNotFoundError},
        {"", kAudioFileFileNotFoundError},
        {folder, kAudioFileUnsupportedFileTypeError},
        {folder / "fifo", kAudioFileUnsupportedFileTypeError},
        {"/dev/zero", kAudioFileUnsupportedFileTypeError},
        {socketPath, kAudioFileUnsupportedFileTypeError},
        {folder / "empty", kAudioFileInvalidFileError},
        {folder / "text.wav", kAudioFileUnsupportedFileTypeError},
        {folder / "list.mp3", kAudioFileUnsupportedFileTypeError},
    };
    for (const auto &[path, status] : cases) {
        ExtAudioFileRef file = nullptr;
        EXPECT_EQ(ExtAudioFileOpenURL(path, &file), status) << path;
        EXPECT_EQ(file, nullptr) << path;
    }
    ::close(listener);
    ::unlink(socketPath.c_str());
}

TEST(HostileFiles, AnUnreadableFileSaysSo)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to become somebody else";
    const auto path = fileOf("secret.wav", wave());
    ::chmod(path.c_str(), 0600);
    EXPECT_EQ(inChild([&] {
                  if (::chmod(path.parent_path().c_str(), 0755) != 0 || ::setuid(65534) != 0)
                      return 2;
                  ExtAudioFileRef file = nullptr;
                  return ExtAudioFileOpenURL(path, &file) == kAudioFilePermissionsError ? 0 : 1;
              }),
              0);
}

TEST(HostileFiles, NamesGoThroughUnchanged)
{
    const fs::path folder = temporaryPath("names");
    fs::create_directory(folder);
    for (const std::string &name : {std::string("%s%n.wav"), std::string("a\nb"), std::string("-x"),
                                    std::string("\xFF\xFE"), std::string("\xE9\x9F\xB3 1"), std::string(255, 'n')}) {
        writeBytes(folder / name, wave());
        EXPECT_EQ(OpenFile(folder / name).length(), 1000) << name;
    }
}

TEST(HostileFiles, LyingSizesGiveWhatIsThere)
{
    const auto data = [](uint32_t size) { return [size](Bytes &b) { put(b, 40, size, 4); }; };
    const auto listAfter = [](uint32_t size) { return withChunk(wave(), 4044, "LIST", size, 20); };
    const struct {
        const char *name;
        Bytes bytes;
        int64_t frames;
    } cases[] = {
        {"data of 4 GiB", edited(wave(), data(UINT32_MAX)), 1000},
        {"data of 4 GiB - 8", edited(wave(), data(0xFFFFFFF8)), 1000},
        {"data of nothing", edited(wave(), data(0)), 0},
        {"data shorter", edited(wave(), data(2000)), 500},
        {"half a frame too many", edited(wave(), [](Bytes &b) { b.resize(b.size() - 2); }), 999},
        {"cut in the middle", edited(wave(), [](Bytes &b) { b.resize(44 + 2000); }), 500},
        {"RIFF size 0", edited(wave(), [](Bytes &b) { put(b, 4, 0, 4); }), 1000},
        {"zeros behind the data", edited(wave(), [](Bytes &b) { b.resize(b.size() + 100'000); }), 1000},
        {"LIST of 2 GiB behind the data", listAfter(0x7FFFFFFF), 1000},
        {"LIST of 4 GiB behind the data", listAfter(UINT32_MAX), 1000},
        {"COMM of more than SSND", edited(aiff(), [](Bytes &b) { putBig(b, 22, 5000, 4); }), 1000},
        {"COMM of 4 G frames", edited(aiff(), [](Bytes &b) { putBig(b, 22, UINT32_MAX, 4); }), 1000},
        {"SSND of 4 GiB", edited(aiff(), [](Bytes &b) { putBig(b, 42, UINT32_MAX, 4); }), 1000},
        {"AIFF cut", edited(aiff(), [](Bytes &b) { b.resize(54 + 400); }), 100},
    };
    for (const auto &[name, bytes, frames] : cases) {
        OSStatus status = noErr;
        EXPECT_EQ(deliveredFrames(bytes, status), frames) << name << ": " << statusText(status);
    }
    OSStatus status = noErr;
    for (const uint32_t size : {0x7FFFFFFFU, 0x10000000U, UINT32_MAX}) {
        EXPECT_EQ(deliveredFrames(withChunk(wave(), 36, "LIST", size, 20), status), -1);
        EXPECT_EQ(status, kAudioFileInvalidFileError) << "LIST of " << size << " before the data";
    }
}

TEST(HostileFiles, RatesAndChannelsHaveLimits)
{
    const auto statusOf = [](const Bytes &bytes) { return OpenFile(fileOf("limits", bytes)).status(); };
    for (const auto &[rate, accepted] : std::initializer_list<std::pair<uint32_t, bool>>{{0, false},
                                                                                         {1, false},
                                                                                         {999, false},
                                                                                         {1000, true},
                                                                                         {8000, true},
                                                                                         {384'000, true},
                                                                                         {768'000, true},
                                                                                         {768'001, false},
                                                                                         {0x80000000, false},
                                                                                         {UINT32_MAX, false}}) {
        const auto bytes = edited(wave(), [rate = rate](Bytes &b) { put(b, 24, rate, 4); });
        EXPECT_EQ(statusOf(bytes), accepted ? noErr : kAudioFileUnsupportedDataFormatError) << rate << " Hz";
    }
    for (const auto &[channels, accepted] : std::initializer_list<std::pair<uint32_t, bool>>{
             {0, false}, {1, true}, {64, true}, {65, false}, {100, false}, {65'535, false}}) {
        const auto bytes = edited(wave(), [channels = channels](Bytes &b) {
            put(b, 22, channels, 2);
            put(b, 32, channels * 2, 2);
        });
        EXPECT_EQ(statusOf(bytes), accepted ? noErr : kAudioFileUnsupportedDataFormatError) << channels;
        const auto comm = edited(aiff(), [channels = channels](Bytes &b) { putBig(b, 20, channels, 2); });
        EXPECT_EQ(statusOf(comm), accepted ? noErr : kAudioFileUnsupportedDataFormatError) << channels;
    }
    for (const uint64_t exponent : {0x0000ULL, 0x7FFFULL, 0xFFFFULL, 0x4FFFULL})
        EXPECT_EQ(statusOf(edited(aiff(), [&](Bytes &b) { putBig(b, 28, exponent, 2); })),
                  kAudioFileUnsupportedDataFormatError)
            << exponent;
}

TEST(HostileFiles, AFileCutAnywhereOpensOrDoesNotAndKeepsItsWord)
{
    const Bytes originals[] = {wave(),
                               aiff(),
                               readBytes(make({.codec = Codec::FLAC, .frames = 20'000})),
                               readBytes(make({.codec = Codec::Vorbis, .frames = 20'000})),
                               readBytes(make({.codec = Codec::MP3, .frames = 20'000})),
                               readBytes(make({.codec = Codec::AAC, .frames = 20'000}))};
    for (const Bytes &original : originals) {
        for (std::size_t size = 1; size < original.size(); size += size < 200 ? 1 : original.size() / 23) {
            OSStatus status = noErr;
            SCOPED_TRACE(testing::Message() << "first bytes " << original[0] << original[1] << ", cut at " << size);
            deliveredFrames(Bytes(original.begin(), original.begin() + static_cast<std::ptrdiff_t>(size)), status);
        }
    }
}

TEST(HostileFiles, RandomDamageNeverBreaksTheReader)
{
    const Bytes originals[] = {wave(), aiff(), readBytes(make({.codec = Codec::FLAC, .frames = 8000})),
                               readBytes(make({.codec = Codec::Vorbis, .frames = 8000}))};
    std::mt19937 random(5);
    for (int round = 0; round < 400; ++round) {
        Bytes bytes = originals[static_cast<std::size_t>(round) % std::size(originals)];
        for (uint32_t i = 0; i < 1 + random() % 8; ++i)
            bytes[random() % (round % 3 == 0 ? bytes.size() : std::min<std::size_t>(bytes.size(), 100))] =
                static_cast<uint8_t>(random());
        auto opened = FileReader::open(std::make_shared<MemorySource>(bytes));
        if (!opened || (*opened)->setClient(native16()) != noErr)
            continue;
        std::vector<int16_t> block(2 * 4096);
        AudioBufferList list{1, {{2, 4 * 4096, block.data()}}};
        int64_t blocks = 0;
        for (uint32_t frames = 4096; frames > 0 && (*opened)->read(frames, list) == noErr && blocks < 10'000; ++blocks)
            ;
        EXPECT_EQ((*opened)->seek((*opened)->format().frames / 2), noErr);
        uint32_t frames = 100;
        EXPECT_EQ((*opened)->read(frames, list), noErr) << "round " << round;
    }
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
        int64_t got = 0;
        OSStatus status = noErr;
        for (uint32_t frames = 512; (status = reader.read(frames, list)) == noErr && frames > 0; frames = 512)
            got += frames;
        EXPECT_EQ(status, kAudioFileReadError);
        const double reached = static_cast<double>(faultFrame) * clientRate / 44100;
        EXPECT_LE(static_cast<double>(got), reached);
        EXPECT_GT(static_cast<double>(got), reached - 8192);
        uint32_t frames = 512;
        EXPECT_EQ(reader.read(frames, list), kAudioFileReadError) << "it stays";
        ASSERT_EQ(reader.seek(10), noErr);
        frames = 512;
        EXPECT_EQ(reader.read(frames, list), noErr) << "the good part can still be read";
        EXPECT_EQ(frames, 512U);
    }
}

TEST(FaultsWhileReading, AFileCutOrUnlinkedUnderItsReaderEndsEarlyOrPlaysOn)
{
    const auto cut = fileOf("cut.wav", waveBytes(44100, 2, 16, samples({.frames = 200'000})));
    OpenFile file(cut, native16());
    file.read(1000, 4);
    ASSERT_EQ(::truncate(cut.c_str(), 44 + 100'000 * 4), 0);
    EXPECT_EQ(readAll<int16_t>(file).size(), 2U * 99'000);
    EXPECT_EQ(file.readStatus, noErr);
    EXPECT_EQ(file.length(), 200'000);

    const auto gone = fileOf("gone.wav", wave());
    OpenFile unlinked(gone, native16());
    fs::remove(gone);
    EXPECT_EQ(readAll<int16_t>(unlinked).size(), 2000U);
}

} // namespace kx::test
