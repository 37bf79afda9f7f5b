#include "FileTestSupport.h"
#include "KXFW/Platform/AudioFiles/Codecs/MPEGFrameWalk.h"

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

/// Its body looks like the second byte of a header, after one that does like the first.
Bytes id3v2(std::size_t body)
{
    const auto digit = [&](int shift) { return static_cast<uint8_t>(body >> shift & 127); };
    return bytesOf("ID3") + Bytes{4, 0, 0, digit(21), digit(14), digit(7), digit(0)} + Bytes(body, 0xFB);
}

Bytes id3v1()
{
    return bytesOf("TAGtitle") + Bytes(120, 0xFF);
}

Bytes ape(std::size_t body)
{
    const auto end = [&](uint8_t flags) {
        const Bytes bytes = bytesOf("APETAGEX") + Bytes(8) + Bytes{1, 0, 0, 0, 0, 0, 0, flags} + Bytes(8);
        return withLittle(withLittle(bytes, 8, 2000, 4), 12, body + 32, 4);
    };
    return end(0xA0) + Bytes(body, 0xFF) + end(0x80);
}

std::vector<float> decodedMPEGAudio(const Bytes &bytes)
{
    return decoded(openMPEGAudio, bytes);
}

bool isRecognised(const Bytes &bytes)
{
    MemorySource source(bytes);
    return recognisesMPEGAudio(source);
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
        const auto end = static_cast<std::size_t>(frame.position + frame.header.bytes);
        EXPECT_TRUE(isRecognised(part(whole, 0, end))) << frames;
        EXPECT_EQ(decodedMPEGAudio(part(whole, 0, end)).size(), static_cast<std::size_t>(frames) * 1152 * 2);
        EXPECT_EQ(isRecognised(part(whole, 0, end - 1)), frames > 1) << "the last frame lacks a byte";
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
        const auto lying = decodedMPEGAudio(withBig(sound, placeOf("Xing", sound) + 8, stated, 4));
        ASSERT_NEAR(static_cast<double>(lying.size()) / 2, kLength, 2304) << "stated " << stated;
        EXPECT_TRUE(std::equal(lying.begin(), lying.begin() + kLength, honest.begin())) << stated;
    }
    const Bytes brief = mp3({"-V", "4"}, 1000);
    EXPECT_TRUE(decodedMPEGAudio(withBig(brief, placeOf("Xing", brief) + 120 + 21, 0xFFFFFF, 3)).empty());
}

TEST(MPEGAudioCodec, SeeksExactlyInAStreamThatBeginsInTheMiddle)
{
    for (const Bytes &sound : {mp3({"-b", "128", "-t"}), mp3({"-b", "64", "-t"}, kLength, 22050)}) {
        auto opened = openBytes(openMPEGAudio, part(sound, 3000));
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
    const Bytes header = part(first, 0, 4);
    const Bytes frame = part(first, 0, 417); // of 128,000 bits a second, not padded
    EXPECT_EQ(frames(first + junk(50) + header + junk(70) + header + junk(20000) + first), 2 * frames(first));
    EXPECT_EQ(frames(first + junk(50) + header + junk(1000) + frame), frames(first) + 1152);
}

} // namespace
} // namespace kx::test
