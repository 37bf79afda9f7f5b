#include "FileTestSupport.h"

#include <fstream>
#include <random>

namespace kx::test
{

namespace
{

void expectEveryMixOfSeeksAndReadsToGiveTheFramesOfTheStraightRead(const Media &media, int64_t clientRate)
{
    auto opened = FileReader::open(make(media));
    ASSERT_TRUE(opened) << opened.status();
    FileReader &reader = **opened;
    ASSERT_EQ(reader.setClient(planarFloat(32000, 2)), noErr);
    for (const int64_t place : {int64_t{0}, media.frames / 2}) { // fills a cache that goes with the client format
        ASSERT_EQ(reader.seek(place), noErr);
        readOn(reader, 40'000);
    }
    ASSERT_EQ(reader.seek(0), noErr);
    ASSERT_EQ(reader.setClient(planarFloat(static_cast<double>(clientRate), 2)), noErr);
    const auto straight = readOn(reader);
    const int64_t length = media.frames * clientRate / media.rate;
    ASSERT_EQ(straight.size(), static_cast<std::size_t>(2 * length));

    const float room = clientRate == media.rate ? 0.0F : 1.0F / 32768;
    std::mt19937 random(11);
    const auto upTo = [&](int64_t limit) { return std::uniform_int_distribution<int64_t>(0, limit)(random); };
    // A few places again and again, so that the cache is met, left, extended and replaced in every way.
    std::vector<int64_t> places(5);
    std::ranges::generate(places, [&] { return upTo(media.frames); });
    places.push_back(media.frames);
    int64_t next = length;
    for (int step = 0; step < 400; ++step) {
        if (upTo(2) > 0) {
            const int64_t place = places[static_cast<std::size_t>(upTo(static_cast<int64_t>(places.size()) - 1))];
            const int64_t target = std::min(place + (upTo(1) > 0 ? upTo(50'000) : 0), media.frames);
            ASSERT_EQ(reader.seek(target), noErr);
            ASSERT_EQ(reader.tell(), target);
            next = std::min((target * clientRate + media.rate - 1) / media.rate, length);
        }
        SCOPED_TRACE(testing::Message() << "step " << step << ", client frame " << next);
        const int64_t wanted = upTo(upTo(3) > 0 ? 3000 : 60'000);
        const auto sound = readOn(reader, wanted, 60'000);
        const auto frames = static_cast<int64_t>(sound.size() / 2);
        ASSERT_EQ(frames, std::min(wanted, length - next));
        for (std::size_t i = 0; i < sound.size(); ++i)
            ASSERT_NEAR(sound[i], straight[static_cast<std::size_t>(2 * next) + i], room) << "sample " << i;
        next += frames;
        ASSERT_TRUE(frames == 0 || reader.tell() == next * media.rate / clientRate);
    }
}

TEST(Seeking, EveryMixOfSeeksAndReadsGivesTheFramesOfTheStraightRead)
{
    constexpr int64_t kFrames = 400'009;
    const std::pair<Media, int64_t> cases[] = {
        {{.codec = Codec::WAV, .frames = kFrames}, 44100},
        {{.codec = Codec::FLAC, .frames = kFrames}, 44100},
        {{.codec = Codec::Vorbis, .frames = kFrames}, 44100},
        {{.codec = Codec::MP3, .frames = kFrames, .options = {"-V", "2"}}, 44100},
        {{.codec = Codec::AAC, .frames = kFrames}, 44100},
        {{.codec = Codec::WAV, .rate = 48000, .frames = kFrames}, 44100},
        {{.codec = Codec::WAV, .rate = 8000, .frames = 80'007}, 44100},
        {{.codec = Codec::WAV, .rate = 22050, .channels = 1, .frames = 200'001}, 48000},
        {{.codec = Codec::WAV, .rate = 96000, .channels = 6, .frames = kFrames}, 44100},
        {{.codec = Codec::FLAC, .frames = kFrames}, 8000},
    };
    for (const auto &[media, clientRate] : cases) {
        SCOPED_TRACE(testing::Message() << make(media) << " to " << clientRate);
        expectEveryMixOfSeeksAndReadsToGiveTheFramesOfTheStraightRead(media, clientRate);
    }
}

TEST(SeekCache, AWrapCostsACopyAndNoDecode)
{
    const auto source = std::make_shared<MemorySource>(
        readBytes(make({.codec = Codec::FLAC, .frames = 10 * 44100, .signal = Signal::Noise})));
    auto opened = FileReader::open(source);
    ASSERT_TRUE(opened);
    FileReader &reader = **opened;
    ASSERT_EQ(reader.setClient(planarFloat(44100, 2)), noErr);
    const auto playFrom = [&](int64_t start) {
        EXPECT_EQ(reader.seek(start), noErr);
        return readOn(reader, 30'000);
    };
    playFrom(100'000);
    playFrom(200'000);
    const auto first = playFrom(300'000);
    const int64_t before = source->bytesRead();
    for (int pass = 0; pass < 10; ++pass) {
        for (const int64_t start : {300'000, 100'000, 200'000})
            playFrom(start);
        ASSERT_EQ(reader.seek(210'000), noErr); // within what is kept, and left at once
    }
    playFrom(100'000);
    EXPECT_EQ(playFrom(300'000), first);
    EXPECT_EQ(source->bytesRead(), before);

    // A fourth place takes the room of the one used longest ago, not of the one kept first, and only that.
    playFrom(20'000);
    const int64_t afterFourth = source->bytesRead();
    EXPECT_EQ(playFrom(300'000), first);
    playFrom(100'000);
    EXPECT_EQ(source->bytesRead(), afterFourth);
    playFrom(200'000);
    EXPECT_GT(source->bytesRead(), afterFourth);
    playFrom(40'000); // what has just been kept is not the oldest either
    const int64_t afterFifth = source->bytesRead();
    playFrom(200'000);
    EXPECT_EQ(source->bytesRead(), afterFifth);
}

TEST(SeekTarget, FilesBeyondFourGigabytesAreSoughtExactly)
{
    const int64_t frames = 1'500'000'000;
    const int64_t marked = frames - 12'345;
    const Bytes wave = withBig(waveBytes(44100, 2, 16, {}), 0, fourCharCode("RF64"), 4);
    const Bytes head = withLittle(withLittle(wave, 4, UINT32_MAX, 4), 40, UINT32_MAX, 4);
    Bytes sizes = withLittle(bytesOf("ds64") + Bytes(32), 4, 28, 4);
    sizes = withLittle(withLittle(withLittle(sizes, 8, frames * 4 + 72, 8), 16, frames * 4, 8), 24, frames, 8);
    const auto path = fileOf("huge.rf64", part(head, 0, 12) + sizes + part(head, 12));
    const auto headBytes = static_cast<int64_t>(head.size() + sizes.size());
    ASSERT_EQ(::truncate(path.c_str(), headBytes + frames * 4), 0); // sparse
    std::fstream(path, std::ios::in | std::ios::out | std::ios::binary).seekp(headBytes + marked * 4) << "abcd";

    OpenFile reader(path, native16());
    ASSERT_EQ(reader.status, noErr);
    EXPECT_EQ(reader.length(), frames);
    ASSERT_EQ(ExtAudioFileSeek(reader.file, marked), noErr);
    EXPECT_EQ(reader.read(1), bytesOf("abcd"));
    EXPECT_EQ(reader.tell(), marked + 1);
    std::filesystem::remove(path);
}

} // namespace
} // namespace kx::test
