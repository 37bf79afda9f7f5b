#include "FileTestSupport.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <sndfile.h>
#include <sys/stat.h>

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

TEST(Writing, BlockSizeDoesNotMatterAndPlanarFloatsBecomeSixteenBits)
{
    const MediaSpec spec{.frames = 700'000, .signal = Signal::Noise}; // several batches
    const auto source = floatSamples(spec);
    const auto path = temporaryPath("planar.aiff");
    NewFile file(path);
    ASSERT_EQ(file.setClient(planarFloat(44100, 2)), noErr);
    std::mt19937 random(7);
    BufferList slice(2, 1, 40'000 * 4);
    for (int64_t done = 0; done < spec.frames;) {
        const auto count = static_cast<uint32_t>(std::min<int64_t>(random() % 40'000, spec.frames - done));
        for (uint32_t i = 0; i < count; ++i)
            for (uint32_t c = 0; c < 2; ++c)
                reinterpret_cast<float *>(slice.data(c))[i] = source[static_cast<std::size_t>(done + i) * 2 + c];
        slice.rewind(count * 4);
        ASSERT_EQ(ExtAudioFileWrite(file.get(), count, slice.get()), noErr);
        done += count;
    }
    ASSERT_EQ(file.close(), noErr);
    OpenFile reader(path, native16());
    const auto expected = samples(spec);
    EXPECT_TRUE(std::ranges::equal(readAll<int16_t>(reader), expected));
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
    const auto path = folder / "song.aiff";
    const Bytes old = bytesOf("old");
    writeBytes(path, old);
    ::chmod(path.c_str(), 0604);
    {
        NewFile file(path);
        ASSERT_EQ(file.write(std::vector<int16_t>(2000)), noErr);
        EXPECT_EQ(readBytes(path), old);
        EXPECT_EQ(entries(folder), 2U);
    } // abandoned
    EXPECT_EQ(readBytes(path), old);
    EXPECT_EQ(entries(folder), 1U);

    NewFile file(path);
    ASSERT_EQ(file.write(std::vector<int16_t>(2000)), noErr);
    ASSERT_EQ(file.close(), noErr);
    EXPECT_EQ(fs::file_size(path), 54U + 4000U);
    EXPECT_EQ(entries(folder), 1U);
    EXPECT_EQ(modeOf(path), 0604U);

    const mode_t before = ::umask(027);
    NewFile fresh(folder / "mask.aiff");
    ::umask(before);
    ASSERT_EQ(fresh.close(), noErr);
    EXPECT_EQ(modeOf(folder / "mask.aiff"), 0640U) << "the mask of the process";
}

TEST(Writing, LinksAreFollowedAndNamesGoThroughUnchanged)
{
    const auto folder = newFolder("links");
    fs::create_directory(folder / "real");
    fs::create_symlink("real/target.aiff", folder / "link.aiff");
    fs::create_symlink("link.aiff", folder / "chain.aiff");
    ASSERT_EQ(NewFile(folder / "chain.aiff").close(), noErr);
    EXPECT_TRUE(fs::is_symlink(folder / "link.aiff"));
    EXPECT_TRUE(fs::is_regular_file(folder / "real" / "target.aiff"));

    for (const std::string &name : {std::string("%s%n \n"), std::string("-rf"), std::string("\xFF\xFE"),
                                    std::string(255, 'n'), std::string("\xC3\xA4.aiff")}) {
        NewFile file(folder / name);
        ASSERT_EQ(file.write(std::vector<int16_t>(20)), noErr) << name;
        ASSERT_EQ(file.close(), noErr) << name;
        EXPECT_EQ(OpenFile(folder / name).length(), 10) << name;
    }
}

TEST(Writing, UnsuitableDestinationsAndFormatsAreRefusedAtOnce)
{
    const auto folder = newFolder("refused");
    writeBytes(folder / "here", {1});
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
    EXPECT_EQ(NewFile(folder / "here", kAudioFileAIFFType, standardFormat(), 0).status(), kAudioFilePermissionsError)
        << "not allowed to replace it";

    const struct {
        AudioFileTypeID type;
        AudioStreamBasicDescription format;
        OSStatus status;
    } formats[] = {
        {fourCharCode("caff"), standardFormat(), kAudioFileUnsupportedFileTypeError},
        {kAudioFileAIFFType, native16(), kAudioFileUnsupportedDataFormatError},
        {kAudioFileWAVEType, standardFormat(), kAudioFileUnsupportedDataFormatError},
        {kAudioFileAIFFType, planarFloat(44100, 2), kAudioFileUnsupportedDataFormatError},
        {kAudioFileWAVEType, native16(44100, 65), kAudioFileUnsupportedDataFormatError},
    };
    for (const auto &[type, format, status] : formats)
        EXPECT_EQ(NewFile(folder / "format", type, format).status(), status) << format.mChannelsPerFrame;
    EXPECT_EQ(readBytes(folder / "here"), Bytes{1});
    EXPECT_EQ(entries(folder), 3U);
}

} // namespace
} // namespace kx::test
