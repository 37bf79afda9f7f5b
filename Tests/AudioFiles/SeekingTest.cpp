#include "FileTestSupport.h"
#include "KXFW/Platform/AudioFiles/FileReader.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/MemorySource.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>

namespace kx::test
{

namespace
{

/// The planes of `client`, which has two channels of floats.
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

std::vector<float> straightRead(FileReader &reader)
{
    std::vector<float> all;
    PlanarRead block(1000);
    for (uint32_t frames = 1000; block.read(reader, frames) == noErr && frames > 0; frames = 1000)
        for (uint32_t i = 0; i < frames; ++i)
            all.insert(all.end(), {block.at(0, i), block.at(1, i)});
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

const SeekCase kCases[] = {
    {"Wav16", {.codec = Codec::WAV, .frames = kFrames}, 44100},
    {"Wav24", {.codec = Codec::WAV, .frames = kFrames, .bits = 24}, 44100},
    {"Aiff16", {.codec = Codec::AIFF, .frames = kFrames}, 44100},
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

} // namespace

TEST_P(Seeking, EveryMixOfSeeksAndReadsGivesTheFramesOfTheStraightRead)
{
    const auto [name, media, clientRate] = GetParam();
    auto opened = FileReader::open(make(media));
    ASSERT_TRUE(opened) << opened.status();
    FileReader &reader = **opened;
    ASSERT_EQ(reader.setClient(planarFloat(clientRate, 2)), noErr);
    const auto straight = straightRead(reader);
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

INSTANTIATE_TEST_SUITE_P(Files, Seeking, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<SeekCase> &row) { return row.param.name; });

TEST(SeekCache, AWrapCostsACopyAndNoDecode)
{
    const auto source = std::make_shared<MemorySource>(
        readBytes(make({.codec = Codec::FLAC, .frames = 10 * 44100, .signal = Signal::Noise})));
    auto opened = FileReader::open(source);
    ASSERT_TRUE(opened);
    FileReader &reader = **opened;
    ASSERT_EQ(reader.setClient(standardFormat()), noErr);
    std::vector<int16_t> first(2 * 44100);
    std::vector<int16_t> again(2 * 44100);
    const auto second = [&](std::vector<int16_t> &into) {
        AudioBufferList list{1, {{2, static_cast<uint32_t>(into.size() * 2), into.data()}}};
        uint32_t frames = 44100;
        EXPECT_EQ(reader.read(frames, list), noErr);
        EXPECT_EQ(frames, 44100U);
    };
    for (const int64_t start : {100'000, 200'000, 300'000}) {
        ASSERT_EQ(reader.seek(start), noErr);
        second(first);
    }
    const int64_t before = source->bytesRead();
    for (int pass = 0; pass < 10; ++pass)
        for (const int64_t start : {300'000, 100'000, 210'000, 200'000}) {
            ASSERT_EQ(reader.seek(start), noErr);
            if (start == 210'000)
                continue; // its second runs past what was kept
            second(again);
        }
    EXPECT_EQ(source->bytesRead(), before);
    ASSERT_EQ(reader.seek(300'000), noErr);
    second(again);
    EXPECT_EQ(again, first);

    // A fourth place takes the room of the one used longest ago, and only that.
    ASSERT_EQ(reader.seek(20'000), noErr);
    second(again);
    const int64_t afterFourth = source->bytesRead();
    ASSERT_EQ(reader.seek(300'000), noErr);
    second(again);
    EXPECT_EQ(source->bytesRead(), afterFourth);
    EXPECT_EQ(again, first);
    ASSERT_EQ(reader.seek(100'000), noErr);
    second(again);
    EXPECT_GT(source->bytesRead(), afterFourth);
}

TEST(SeekCache, IsForgottenWithTheClientFormat)
{
    const MediaSpec media{.frames = 100'000};
    auto opened = FileReader::open(make(media));
    FileReader &reader = **opened;
    PlanarRead block(5000);
    for (const double rate : {44100.0, 22050.0, 44100.0}) {
        ASSERT_EQ(reader.setClient(planarFloat(rate, 2)), noErr);
        auto other = FileReader::open(make(media));
        ASSERT_EQ((*other)->setClient(planarFloat(rate, 2)), noErr);
        const auto straight = straightRead(**other);
        for (int pass = 0; pass < 2; ++pass) {
            ASSERT_EQ(reader.seek(40'000), noErr);
            uint32_t frames = 5000;
            ASSERT_EQ(block.read(reader, frames), noErr);
            for (uint32_t i = 0; i < frames; ++i)
                ASSERT_NEAR(block.at(1, i),
                            straight[2 * (static_cast<std::size_t>(std::ceil(40'000 * rate / 44100)) + i) + 1], 1e-6)
                    << rate << " Hz, pass " << pass << ", frame " << i;
        }
    }
}

TEST(SeekTarget, LiesWithinTheFile)
{
    OpenFile file(make({.rate = 48000, .frames = 1000}), standardFormat());
    EXPECT_EQ(ExtAudioFileSeek(file.get(), 0), noErr);
    EXPECT_EQ(ExtAudioFileSeek(file.get(), 999), noErr);
    for (const int64_t beyond : {int64_t{-1}, int64_t{1001}, INT64_MIN, INT64_MAX})
        EXPECT_EQ(ExtAudioFileSeek(file.get(), beyond), kExtAudioFileError_InvalidSeek) << beyond;
    EXPECT_EQ(file.tell(), 999) << "a refused seek moves nothing";
    EXPECT_EQ(ExtAudioFileSeek(file.get(), 1000), noErr);
    EXPECT_EQ(file.tell(), 1000);
    EXPECT_TRUE(file.read(10, 4).empty());
    EXPECT_EQ(file.tell(), 1000);
}

TEST(SeekTarget, FilesBeyondFourGigabytesAreSoughtExactly)
{
    // Sparse: a header whose data size is the largest, and a marked frame near the far end.
    const auto rf64 = temporaryPath("huge.rf64");
    const int64_t frames = 1'500'000'000;
    std::vector<uint8_t> header;
    const auto text = [&](std::string_view t) { header.insert(header.end(), t.begin(), t.end()); };
    const auto number = [&](uint64_t value, int bytes) {
        for (int i = 0; i < bytes; ++i)
            header.push_back(static_cast<uint8_t>(value >> (8 * i)));
    };
    text("RF64");
    number(UINT32_MAX, 4);
    text("WAVEds64");
    number(28, 4);
    number(static_cast<uint64_t>(frames) * 4 + 72, 8);
    number(static_cast<uint64_t>(frames) * 4, 8);
    number(static_cast<uint64_t>(frames), 8);
    number(0, 4);
    text("fmt ");
    number(16, 4);
    number(0x0002'0001, 4);
    number(44100, 4);
    number(44100 * 4, 4);
    number(0x0010'0004, 4);
    text("data");
    number(UINT32_MAX, 4);
    writeBytes(rf64, header);
    const int64_t marked = frames - 12'345;
    ASSERT_EQ(::truncate(rf64.c_str(), static_cast<int64_t>(header.size()) + frames * 4), 0);
    FILE *file = std::fopen(rf64.c_str(), "r+b");
    ASSERT_NE(file, nullptr);
    std::fseek(file, static_cast<long>(static_cast<int64_t>(header.size()) + marked * 4), SEEK_SET);
    std::fputs("abcd", file);
    std::fclose(file);

    OpenFile reader(rf64, native16());
    ASSERT_EQ(reader.status(), noErr);
    EXPECT_EQ(reader.length(), frames);
    ASSERT_EQ(ExtAudioFileSeek(reader.get(), marked), noErr);
    EXPECT_EQ(reader.read(1, 4), (std::vector<uint8_t>{'a', 'b', 'c', 'd'}));
    EXPECT_EQ(reader.tell(), marked + 1);
    std::filesystem::remove(rf64);
}

} // namespace kx::test
