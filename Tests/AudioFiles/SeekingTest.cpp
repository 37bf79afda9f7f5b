#include "FileTestSupport.h"
#include "KXFW/Platform/AudioFiles/FileReader.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/MemorySource.h"

#include <gtest/gtest.h>

#include <fstream>
#include <random>

namespace kx::test
{

namespace
{

/// Reads a client of two planes of floats.
struct PlanarRead {
    explicit PlanarRead(uint32_t frames) : buffers(2, 1, frames * 4) {}

    OSStatus read(FileReader &reader, uint32_t &frames)
    {
        buffers.rewind(frames * 4);
        return reader.read(frames, *buffers.get());
    }
    [[nodiscard]] float at(uint32_t channel, uint32_t frame) const
    {
        return reinterpret_cast<const float *>(buffers.data(channel))[frame];
    }

    BufferList buffers;
};

/// Up to `most` frames from the present position on, interleaved.
std::vector<float> readOn(FileReader &reader, uint32_t most = UINT32_MAX)
{
    std::vector<float> all;
    PlanarRead block(1000);
    for (uint32_t frames = 1000; frames > 0 && all.size() / 2 < most;) {
        frames = std::min<uint32_t>(1000, most - static_cast<uint32_t>(all.size() / 2));
        if (block.read(reader, frames) != noErr)
            break;
        for (uint32_t i = 0; i < frames; ++i)
            all.insert(all.end(), {block.at(0, i), block.at(1, i)});
    }
    return all;
}

int64_t ceilDivide(int64_t a, int64_t b)
{
    return (a + b - 1) / b;
}

struct SeekCase {
    const char *name;
    MediaSpec media;
    double clientRate;
};

constexpr int64_t kFrames = 400'009;

const SeekCase kSeekCases[] = {
    {"Wav16", {.codec = Codec::WAV, .frames = kFrames}, 44100},
    {"Flac16", {.codec = Codec::FLAC, .frames = kFrames}, 44100},
    {"Vorbis", {.codec = Codec::Vorbis, .frames = kFrames}, 44100},
    {"Mp3", {.codec = Codec::MP3, .frames = kFrames, .options = {"-V", "2"}}, 44100},
    {"Aac", {.codec = Codec::AAC, .frames = kFrames}, 44100},
    {"Wav48000", {.codec = Codec::WAV, .rate = 48000, .frames = kFrames}, 44100},
    {"Wav8000", {.codec = Codec::WAV, .rate = 8000, .frames = 80'007}, 44100},
    {"Mono22050To48000", {.codec = Codec::WAV, .rate = 22050, .channels = 1, .frames = 200'001}, 48000},
    {"SixChannels96000", {.codec = Codec::WAV, .rate = 96000, .channels = 6, .frames = kFrames}, 44100},
    {"Flac44100To8000", {.codec = Codec::FLAC, .frames = kFrames}, 8000},
};

class Seeking : public testing::TestWithParam<SeekCase>
{
};

TEST_P(Seeking, EveryMixOfSeeksAndReadsGivesTheFramesOfTheStraightRead)
{
    const MediaSpec &media = GetParam().media;
    const double clientRate = GetParam().clientRate;
    auto opened = FileReader::open(make(media));
    ASSERT_TRUE(opened) << opened.status();
    FileReader &reader = **opened;
    ASSERT_EQ(reader.setClient(planarFloat(32000, 2)), noErr);
    for (const int64_t place : {int64_t{0}, media.frames / 2}) { // fills a cache that goes with the client format
        ASSERT_EQ(reader.seek(place), noErr);
        readOn(reader, 40'000);
    }
    ASSERT_EQ(reader.seek(0), noErr);
    ASSERT_EQ(reader.setClient(planarFloat(clientRate, 2)), noErr);
    const auto straight = readOn(reader);
    const auto clientRateWhole = static_cast<int64_t>(clientRate);
    const int64_t length = media.frames * clientRateWhole / media.rate;
    ASSERT_EQ(straight.size(), static_cast<std::size_t>(2 * length));

    const float room = clientRateWhole == media.rate ? 0.0F : 1.0F / 32768;
    std::mt19937 random(11);
    const auto upTo = [&](int64_t limit) { return std::uniform_int_distribution<int64_t>(0, limit)(random); };
    // A few places again and again, so that the cache is met, left, extended and replaced in every way.
    std::vector<int64_t> places(5);
    std::ranges::generate(places, [&] { return upTo(media.frames); });
    places.push_back(media.frames);
    PlanarRead block(60'000);
    int64_t next = length;
    for (int step = 0; step < 400; ++step) {
        if (upTo(2) > 0) {
            const int64_t place = places[static_cast<std::size_t>(upTo(static_cast<int64_t>(places.size()) - 1))];
            const int64_t target = std::min(place + (upTo(1) > 0 ? upTo(50'000) : 0), media.frames);
            ASSERT_EQ(reader.seek(target), noErr);
            ASSERT_EQ(reader.tell(), target);
            next = std::min(ceilDivide(target * clientRateWhole, media.rate), length);
        }
        const auto wanted = static_cast<uint32_t>(upTo(upTo(3) > 0 ? 3000 : 60'000));
        uint32_t frames = wanted;
        ASSERT_EQ(block.read(reader, frames), noErr);
        ASSERT_EQ(frames, std::min<int64_t>(wanted, length - next)) << "step " << step << ", client frame " << next;
        for (uint32_t i = 0; i < frames; ++i)
            for (uint32_t c = 0; c < 2; ++c)
                ASSERT_NEAR(block.at(c, i), straight[static_cast<std::size_t>(next + i) * 2 + c], room)
                    << "step " << step << ", client frame " << next << " + " << i << ", channel " << c;
        next += frames;
        if (frames > 0) {
            ASSERT_EQ(reader.tell(), next * media.rate / clientRateWhole);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Files, Seeking, testing::ValuesIn(kSeekCases),
                         [](const testing::TestParamInfo<SeekCase> &row) { return row.param.name; });

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
    Bytes header = waveBytes(44100, 2, 16, {});
    Bytes sizes = bytesOf("ds64") + Bytes(32);
    putLittle(sizes, 4, 28, 4);
    putLittle(sizes, 8, frames * 4 + 72, 8);
    putLittle(sizes, 16, frames * 4, 8);
    putLittle(sizes, 24, frames, 8);
    putBig(header, 0, fourCharCode("RF64"), 4);
    putLittle(header, 4, UINT32_MAX, 4);
    putLittle(header, 40, UINT32_MAX, 4);
    header.insert(header.begin() + 12, sizes.begin(), sizes.end());
    const auto headerBytes = static_cast<int64_t>(header.size());
    const auto path = fileOf("huge.rf64", header);
    ASSERT_EQ(::truncate(path.c_str(), headerBytes + frames * 4), 0); // sparse
    std::fstream(path, std::ios::in | std::ios::out | std::ios::binary).seekp(headerBytes + marked * 4) << "abcd";

    OpenFile reader(path, native16());
    ASSERT_EQ(reader.status(), noErr);
    EXPECT_EQ(reader.length(), frames);
    ASSERT_EQ(ExtAudioFileSeek(reader.get(), marked), noErr);
    EXPECT_EQ(reader.read(1, 4), bytesOf("abcd"));
    EXPECT_EQ(reader.tell(), marked + 1);
    std::filesystem::remove(path);
}

} // namespace
} // namespace kx::test
