#include "KXFW/Platform/AudioFiles/Codecs/MPEGFrameWalk.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEGInfoTag.h"
#include "Tests/Support/HostileBytes.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/MemorySource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace kx::test
{

namespace
{

constexpr int64_t kLength = 50021;

Bytes mp3(std::vector<std::string> options, int64_t frames = kLength, uint32_t rate = 44100)
{
    return readBytes(make({.codec = Codec::MP3, .rate = rate, .frames = frames, .options = std::move(options)}));
}

Bytes operator+(Bytes a, const Bytes &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes text(const std::string &characters)
{
    return {characters.begin(), characters.end()};
}

/// Random bytes among which no frame header can begin.
Bytes junk(std::size_t count)
{
    std::mt19937 random(3);
    Bytes bytes(count);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<uint8_t>(random() % 255); });
    return bytes;
}

Bytes id3v2(std::size_t body)
{
    Bytes tag = text("ID3");
    tag.insert(tag.end(), {4, 0, 0, static_cast<uint8_t>(body >> 21), static_cast<uint8_t>(body >> 14 & 127),
                           static_cast<uint8_t>(body >> 7 & 127), static_cast<uint8_t>(body & 127)});
    tag.resize(10 + body, 0xFB); // looks like the second byte of a header, after one that does like the first
    return tag;
}

Bytes id3v1()
{
    Bytes tag = text("TAGtitle");
    tag.resize(128, 0xFF);
    return tag;
}

Bytes ape(std::size_t body)
{
    const auto size = static_cast<uint8_t>(body + 32);
    Bytes tag = text("APETAGEX");
    tag.insert(tag.end(), {0xD0, 7, 0, 0, size, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0xA0, 0, 0, 0, 0, 0, 0, 0, 0});
    tag.resize(32 + body, 0xFF);
    Bytes foot(tag.begin(), tag.begin() + 32);
    foot[23] = 0x80;
    return tag + foot;
}

std::vector<float> decode(const Bytes &bytes)
{
    auto opened = openBytes(openMPEGAudio, bytes);
    EXPECT_TRUE(opened) << opened.status();
    return opened ? readToEnd(**opened) : std::vector<float>();
}

bool isRecognised(const Bytes &bytes)
{
    MemorySource source(bytes);
    return recognisesMPEGAudio(source);
}

/// Where the four letters of the encoder's tag stand.
std::size_t tagOffset(const Bytes &bytes)
{
    for (const std::string_view letters : {"Info", "Xing"}) {
        const auto found = std::search(bytes.begin(), bytes.end(), letters.begin(), letters.end());
        if (found != bytes.end())
            return static_cast<std::size_t>(found - bytes.begin());
    }
    return 0;
}

/// The mean square of what `sound`, moved by `shift` frames, differs from `source` by.
double difference(const std::vector<float> &sound, const std::vector<float> &source, std::size_t shift)
{
    double sum = 0;
    const std::size_t count = std::min(sound.size(), source.size()) - 2 * shift;
    for (std::size_t i = 0; i < count; ++i)
        sum += std::pow(sound[i + 2 * shift] - source[i], 2);
    return sum / static_cast<double>(count);
}

/// A frame of layer I that says nothing: 384,000 bits a second at 44,100 Hz, stereo.
Bytes silentLayerOneFrame()
{
    Bytes frame{0xFF, 0xFF, 0xC0, 0x00};
    frame.resize(416, 0);
    return frame;
}

} // namespace

TEST(MPEGFrameHeader, TellsTheSizeAndLengthOfAFrame)
{
    struct Row {
        uint8_t bytes[4];
        uint32_t layer, rate, channels, frameBytes, samples;
    };
    for (const Row &row :
         {Row{{0xFF, 0xFB, 0x90, 0x64}, 3, 44100, 2, 417, 1152}, Row{{0xFF, 0xFB, 0x92, 0xC4}, 3, 44100, 1, 418, 1152},
          Row{{0xFF, 0xFA, 0xE4, 0x00}, 3, 48000, 2, 960, 1152}, Row{{0xFF, 0xF3, 0x40, 0x64}, 3, 22050, 2, 104, 576},
          Row{{0xFF, 0xE3, 0x18, 0xC4}, 3, 8000, 1, 72, 576}, Row{{0xFF, 0xFD, 0xA0, 0x00}, 2, 44100, 2, 626, 1152},
          Row{{0xFF, 0xFF, 0xC2, 0x00}, 1, 44100, 2, 420, 384}}) {
        const auto header = parseMPEGFrameHeader(row.bytes);
        ASSERT_TRUE(header) << row.frameBytes;
        EXPECT_EQ(header->layer, row.layer);
        EXPECT_EQ(header->rate, row.rate);
        EXPECT_EQ(header->channels, row.channels);
        EXPECT_EQ(header->bytes, row.frameBytes);
        EXPECT_EQ(header->samples, row.samples);
    }
}

TEST(MPEGFrameHeader, RefusesReservedValues)
{
    const uint8_t rows[][4] = {{0xFE, 0xFB, 0x90, 0x64},  // no sync
                               {0xFF, 0xEB, 0x90, 0x64},  // version
                               {0xFF, 0xF9, 0x90, 0x64},  // layer
                               {0xFF, 0xFB, 0xF0, 0x64},  // bit rate
                               {0xFF, 0xFB, 0x00, 0x64},  // free format
                               {0xFF, 0xFB, 0x9C, 0x64}}; // rate
    for (const auto &row : rows)
        EXPECT_FALSE(parseMPEGFrameHeader(row)) << int{row[1]} << ' ' << int{row[2]};
}

TEST(MPEGAudioCodec, TakesNoOtherFileForItsOwn)
{
    EXPECT_FALSE(isRecognised({}));
    EXPECT_FALSE(isRecognised(Bytes(100000, 0)));
    EXPECT_FALSE(isRecognised(Bytes(100000, 0xFF)));
    EXPECT_FALSE(isRecognised(text("ffconcat version 1.0\nfile other.wav\n")));
    EXPECT_FALSE(isRecognised(text(std::string("\xFF\xFEh\0e\0l\0l\0o\0\n\0", 14))));
    EXPECT_FALSE(isRecognised(id3v2(5000)));
    EXPECT_FALSE(isRecognised(id3v2(5000) + junk(5000)));
    for (const Codec codec : {Codec::WAV, Codec::AIFF, Codec::FLAC, Codec::Vorbis, Codec::AAC, Codec::ALAC})
        EXPECT_FALSE(isRecognised(readBytes(make({.codec = codec, .signal = Signal::Noise})))) << int(codec);
    for (uint32_t seed = 0; seed < 300; ++seed) {
        std::mt19937 random(seed);
        Bytes noise(1 + random() % 40000);
        std::generate(noise.begin(), noise.end(), [&] { return static_cast<uint8_t>(random()); });
        EXPECT_FALSE(isRecognised(noise)) << "seed " << seed << ", " << noise.size() << " bytes";
    }
}

TEST(MPEGAudioCodec, TakesShortFilesThatEndWithAFrame)
{
    const Bytes whole = mp3({"-b", "128", "-t"});
    MemorySource source(whole);
    MPEGFrameWalk walk(source, {0, source.size()});
    MPEGFrame frame{};
    ASSERT_TRUE(walk.start());
    for (int frames = 1; frames <= 4; ++frames) {
        ASSERT_TRUE(walk.next(frame));
        const Bytes some(whole.begin(), whole.begin() + frame.position + frame.header.bytes);
        EXPECT_TRUE(isRecognised(some)) << frames;
        EXPECT_EQ(decode(some).size(), static_cast<std::size_t>(frames) * 1152 * 2);
        const Bytes spoilt(some.begin(), some.end() - 1); // the last frame lacks a byte
        EXPECT_EQ(isRecognised(spoilt), frames > 1) << frames;
    }
}

TEST(MPEGAudioCodec, IsNotMovedByTagsAndJunkAroundTheSound)
{
    for (const Bytes &sound : {mp3({"-V", "4"}), mp3({"-b", "128", "-t"})}) {
        const auto expected = decode(sound);
        EXPECT_EQ(decode(id3v2(300) + sound), expected);
        EXPECT_EQ(decode(id3v2(200000) + id3v2(1) + junk(3000) + sound), expected);
        EXPECT_EQ(decode(junk(100000) + sound), expected);
        EXPECT_EQ(decode(sound + id3v1()), expected);
        EXPECT_EQ(decode(sound + ape(100)), expected);
        EXPECT_EQ(decode(sound + ape(10) + text("LYRICSBEGIN000016LYRICS200") + id3v1()), expected);
        EXPECT_EQ(decode(sound + junk(1000)), expected);
    }
}

TEST(MPEGAudioCodec, GivesTheSoundInItsPlace)
{
    const auto source = floatSamples({.frames = kLength});
    const auto sound = decode(mp3({"-b", "320"}));
    ASSERT_EQ(sound.size(), source.size());
    EXPECT_LT(difference(sound, source, 0), 0.0005);
    EXPECT_LT(difference(sound, source, 0) * 2, difference(sound, source, 1));
    EXPECT_LT(difference(sound, source, 0) * 2, difference(source, sound, 1));
}

TEST(MPEGAudioCodec, BelievesTheFramesRatherThanTheTag)
{
    const Bytes sound = mp3({"-V", "4"});
    const std::size_t count = tagOffset(sound) + 8;
    ASSERT_GT(count, 8U);
    for (const uint32_t stated : {0U, 1U, 30U, 44U, 1000U, 0xFFFFFFFFU}) {
        Bytes lying = sound;
        for (std::size_t i = 0; i < 4; ++i)
            lying[count + i] = static_cast<uint8_t>(stated >> (24 - 8 * i));
        const auto decoded = decode(lying);
        EXPECT_NEAR(static_cast<double>(decoded.size()) / 2, kLength, 2304) << "stated " << stated;
        EXPECT_TRUE(std::equal(decoded.begin(), decoded.begin() + kLength, decode(sound).begin())) << stated;
    }
}

TEST(MPEGAudioCodec, IsEmptyWhereTheTrimLeavesNothing)
{
    Bytes sound = mp3({"-V", "4"}, 1000);
    const std::size_t trim = tagOffset(sound) + 120 + 21;
    sound[trim] = sound[trim + 1] = sound[trim + 2] = 0xFF;
    EXPECT_TRUE(decode(sound).empty());
}

TEST(MPEGAudioCodec, PlaysWhatIsThereOfACutFile)
{
    const Bytes sound = mp3({"-V", "4"});
    const auto whole = decode(sound);
    for (const std::size_t missing : {1U, 100U, 1000U, 5000U}) {
        const auto part = decode({sound.begin(), sound.end() - static_cast<std::ptrdiff_t>(missing)});
        EXPECT_LE(part.size(), whole.size());
        EXPECT_GT(part.size() + missing * 40 + 8000, whole.size()) << missing;
        EXPECT_TRUE(std::equal(part.begin(), part.end(), whole.begin())) << missing << " bytes missing";
    }
}

TEST(MPEGAudioCodec, SeeksExactlyInAStreamThatBeginsInTheMiddle)
{
    for (const Bytes &sound : {mp3({"-b", "128", "-t"}), mp3({"-b", "64", "-t"}, kLength, 22050)}) {
        auto opened = openBytes(openMPEGAudio, {sound.begin() + 3000, sound.end()});
        ASSERT_TRUE(opened);
        const auto straight = readToEnd(**opened);
        for (const int64_t target : {40000, 30001, 20003, 11005}) {
            ASSERT_EQ((*opened)->seek(target), noErr);
            EXPECT_TRUE(std::equal(straight.begin() + 2 * target, straight.end(), readToEnd(**opened).begin()));
        }
    }
}

TEST(MPEGAudioCodec, LeavesOutFramesOfAnotherFormat)
{
    const Bytes first = mp3({"-b", "128", "-t"}, 30000);
    const Bytes other = mp3({"-b", "64", "-t"}, 30000, 22050);
    const auto frames = [](const Bytes &bytes) { return decode(bytes).size() / 2; };
    EXPECT_EQ(frames(first + first), 2 * frames(first));
    EXPECT_EQ(frames(first + other), frames(first));
    EXPECT_EQ(frames(first + other + first), 2 * frames(first));
    EXPECT_EQ(frames(first + junk(20000) + first), 2 * frames(first));
}

TEST(MPEGAudioCodec, DecodesLayerOne)
{
    Bytes file;
    for (int i = 0; i < 20; ++i)
        file = file + silentLayerOneFrame();
    auto opened = openBytes(openMPEGAudio, file);
    ASSERT_TRUE(opened);
    EXPECT_EQ((*opened)->format().file.mFormatID, kAudioFormatMPEGLayer1);
    EXPECT_EQ(readToEnd(**opened), std::vector<float>(20 * 384 * 2));
}

TEST(MPEGAudioCodec, ReadsAFileOnceToOpenIt)
{
    const Bytes sound = id3v2(500000) + mp3({"-b", "128"}, 400000);
    const auto source = std::make_shared<MemorySource>(sound);
    ASSERT_TRUE(openMPEGAudio(source));
    EXPECT_LT(source->bytesRead(), static_cast<int64_t>(sound.size()) - 400000);
}

TEST(MPEGAudioCodec, StaysHonestOnBrokenFiles)
{
    const Bytes tagged = mp3({"-V", "6"}, 9000);
    const Bytes low = mp3({"-b", "8", "--resample", "8", "-t"}, 9000, 8000);
    for (const Bytes &sound : {tagged, low}) {
        const auto check = [](const Bytes &bytes, const std::string &what) {
            expectHonestDecoder(openMPEGAudio, bytes, what);
        };
        forEachCut(sound, 500, 61, check);
        forEachFlip(sound, sound.size(), 300, check);
        forEachFlip(sound, 200, 300, check);
    }
}

TEST(MPEGAudioCodec, PrintsNothingAboutBrokenFiles)
{
    const Bytes sound = mp3({"-V", "6"}, 9000);
    testing::internal::CaptureStderr();
    forEachFlip(sound, sound.size(), 50,
                [](const Bytes &bytes, const std::string &what) { expectHonestDecoder(openMPEGAudio, bytes, what); });
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace kx::test
