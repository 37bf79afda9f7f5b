#include "FileTestSupport.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEGFrameWalk.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/MemorySource.h"

#include <gtest/gtest.h>

#include <algorithm>
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

/// Random bytes, all less than `below`; no frame header can begin with one under 255.
Bytes junk(std::size_t count, uint32_t seed = 3, uint32_t below = 255)
{
    std::mt19937 random(seed);
    Bytes bytes(count);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<uint8_t>(random() % below); });
    return bytes;
}

Bytes id3v2(std::size_t body)
{
    Bytes tag = bytesOf("ID3");
    tag.insert(tag.end(), {4, 0, 0, static_cast<uint8_t>(body >> 21), static_cast<uint8_t>(body >> 14 & 127),
                           static_cast<uint8_t>(body >> 7 & 127), static_cast<uint8_t>(body & 127)});
    tag.resize(10 + body, 0xFB); // looks like the second byte of a header, after one that does like the first
    return tag;
}

Bytes id3v1()
{
    Bytes tag = bytesOf("TAGtitle");
    tag.resize(128, 0xFF);
    return tag;
}

Bytes ape(std::size_t body)
{
    Bytes head = bytesOf("APETAGEX") + Bytes(24);
    putLittle(head, 8, 2000, 4);
    putLittle(head, 12, body + 32, 4);
    head[16] = 1;
    head[23] = 0xA0;
    Bytes foot = head;
    foot[23] = 0x80;
    return head + Bytes(body, 0xFF) + foot;
}

std::vector<float> decodedMPEGAudio(const Bytes &bytes)
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

/// Where the four letters of the encoder's tag stand in a file of variable bit rate.
std::size_t tagOffset(const Bytes &bytes)
{
    const std::string_view letters = "Xing";
    const auto found = std::search(bytes.begin(), bytes.end(), letters.begin(), letters.end());
    EXPECT_NE(found, bytes.end());
    return static_cast<std::size_t>(found - bytes.begin());
}

TEST(MPEGAudioCodec, TakesNoOtherFileForItsOwn)
{
    for (const Bytes &bytes : {Bytes(), Bytes(100000, 0), Bytes(100000, 0xFF), bytesOf("ffconcat version 1.0\n"),
                               id3v2(5000), id3v2(5000) + junk(5000)})
        EXPECT_FALSE(isRecognised(bytes)) << bytes.size() << " bytes";
    for (uint32_t seed = 0; seed < 300; ++seed)
        EXPECT_FALSE(isRecognised(junk(1 + seed * 133, seed, 256))) << "seed " << seed;
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
        EXPECT_EQ(decodedMPEGAudio(some).size(), static_cast<std::size_t>(frames) * 1152 * 2);
        const Bytes spoilt(some.begin(), some.end() - 1); // the last frame lacks a byte
        EXPECT_EQ(isRecognised(spoilt), frames > 1) << frames;
    }
}

TEST(MPEGAudioCodec, IsNotMovedByTagsAndJunkAroundTheSound)
{
    for (const Bytes &sound : {mp3({"-V", "4"}), mp3({"-b", "128", "-t"})}) {
        const auto expected = decodedMPEGAudio(sound);
        for (const Bytes &before : {id3v2(300), id3v2(200000) + id3v2(1) + junk(3000), junk(100000)})
            EXPECT_TRUE(decodedMPEGAudio(before + sound) == expected) << before.size() << " bytes before";
        const Bytes lyrics = bytesOf("LYRICSBEGIN000016LYRICS200");
        for (const Bytes &behind : {id3v1(), ape(100), ape(10) + lyrics + id3v1(), junk(1000)})
            EXPECT_TRUE(decodedMPEGAudio(sound + behind) == expected) << behind.size() << " bytes behind";
    }
}

TEST(MPEGAudioCodec, BelievesTheFramesRatherThanTheTag)
{
    const Bytes sound = mp3({"-V", "4"});
    const auto honest = decodedMPEGAudio(sound);
    for (const uint32_t stated : {0U, 1U, 30U, 44U, 1000U, 0xFFFFFFFFU}) {
        Bytes lying = sound;
        putBig(lying, tagOffset(sound) + 8, stated, 4);
        const auto decoded = decodedMPEGAudio(lying);
        ASSERT_NEAR(static_cast<double>(decoded.size()) / 2, kLength, 2304) << "stated " << stated;
        EXPECT_TRUE(std::equal(decoded.begin(), decoded.begin() + kLength, honest.begin())) << stated;
    }
    Bytes trimmedAway = mp3({"-V", "4"}, 1000);
    putBig(trimmedAway, tagOffset(trimmedAway) + 120 + 21, 0xFFFFFF, 3);
    EXPECT_TRUE(decodedMPEGAudio(trimmedAway).empty());
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
    const auto frames = [](const Bytes &bytes) { return decodedMPEGAudio(bytes).size() / 2; };
    EXPECT_EQ(frames(first + first), 2 * frames(first));
    EXPECT_EQ(frames(first + other + first), 2 * frames(first));
    for (const std::size_t bytes : {1, 20000})
        EXPECT_EQ(frames(first + junk(bytes) + first), 2 * frames(first));
    // In the junk stand headers that no frame follows; behind it may stand a single frame that ends the file.
    const Bytes header(first.begin(), first.begin() + 4);
    const Bytes frame(first.begin(), first.begin() + 417); // of 128,000 bits a second, not padded
    EXPECT_EQ(frames(first + junk(50) + header + junk(70) + header + junk(20000) + first), 2 * frames(first));
    EXPECT_EQ(frames(first + junk(50) + header + junk(1000) + frame), frames(first) + 1152);
}

} // namespace
} // namespace kx::test
