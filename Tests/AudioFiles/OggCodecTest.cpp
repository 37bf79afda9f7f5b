#include "FileTestSupport.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace kx::test
{

namespace
{

Bytes oggMedia(Codec codec, uint32_t rate, uint32_t channels, int64_t frames = 60'007, uint32_t seed = 1)
{
    return readBytes(make({.codec = codec, .rate = rate, .channels = channels, .frames = frames, .seed = seed}));
}

const Bytes &vorbis()
{
    static const Bytes bytes = oggMedia(Codec::Vorbis, 44100, 2);
    return bytes;
}

/// All frames of a file as stereo floats of this rate.
std::vector<float> converted(const Bytes &bytes, double rate = 44100)
{
    auto opened = FileReader::open(std::make_shared<MemorySource>(bytes));
    const bool isReady = opened && (*opened)->setClient(floats(rate)) == noErr;
    return isReady ? readOn(**opened) : std::vector<float>();
}

TEST(OggChain, PlaysItsLinksInTheFormatOfTheFirst)
{
    const Bytes flac = oggMedia(Codec::OggFLAC, 44100, 2);
    const std::pair<const char *, std::vector<Bytes>> chains[] = {
        {"alike", {vorbis(), oggMedia(Codec::Vorbis, 44100, 2, 30'011, 2), vorbis()}},
        {"FLAC", {flac, oggMedia(Codec::OggFLAC, 44100, 2, 30'011, 2)}},
        {"another kind of samples", {flac, vorbis()}},
        {"another channel count", {vorbis(), oggMedia(Codec::Vorbis, 44100, 1), oggMedia(Codec::Vorbis, 44100, 6)}},
        {"other rates", {vorbis(), oggMedia(Codec::Opus, 48000, 2), oggMedia(Codec::Vorbis, 22050, 1), flac}},
    };
    for (const auto &[name, links] : chains) {
        SCOPED_TRACE(name);
        Bytes bytes;
        std::vector<float> expected;
        for (const Bytes &link : links) {
            bytes = bytes + link;
            const auto sound = converted(link);
            expected.insert(expected.end(), sound.begin(), sound.end());
        }
        auto opened = openBytes(openOgg, bytes);
        ASSERT_TRUE(opened);
        Decoder &decoder = **opened;
        EXPECT_EQ(decoder.format().frames, static_cast<int64_t>(expected.size() / 2));
        EXPECT_TRUE(readToEnd(decoder, 1000) == expected);
        std::mt19937 random(5);
        for (int i = 0; i < 60; ++i) {
            const std::size_t target = random() % (expected.size() / 2);
            SCOPED_TRACE(target);
            ASSERT_EQ(decoder.seek(static_cast<int64_t>(target)), noErr);
            const auto part = readFrames(decoder, 40'000, 777);
            ASSERT_EQ(part.size(), std::min<std::size_t>(80'000, expected.size() - 2 * target));
            for (std::size_t s = 0; s < part.size(); ++s)
                ASSERT_NEAR(part[s], expected[2 * target + s], 1.0 / 32768) << s;
        }
    }
}

TEST(OggChain, LeavesOutWhatItCannotPlay)
{
    const std::size_t alone = converted(vorbis()).size();
    Bytes unknown = vorbis();
    const std::string_view name = "vorbis";
    for (auto at = unknown.begin(); (at = std::search(at, unknown.end(), name.begin(), name.end())) != unknown.end();)
        *at = 'w';
    unknown = resealed(unknown);
    const Bytes headersOnly = part(vorbis(), 0, 2000);
    for (const Bytes &other : {unknown, headersOnly, Bytes(1000, 'O')})
        EXPECT_EQ(converted(vorbis() + other + vorbis()).size(), 2 * alone) << other.size();
    EXPECT_EQ(openBytes(openOgg, headersOnly).status(), kAudioFileInvalidFileError);
    EXPECT_EQ(openBytes(openOgg, unknown).status(), kAudioFileUnsupportedDataFormatError);
}

/// The file with the positions of its pages moved.
Bytes moved(Bytes bytes, int64_t frames)
{
    const std::string_view page = "OggS";
    for (auto at = bytes.begin(); (at = std::search(at, bytes.end(), page.begin(), page.end())) != bytes.end(); ++at) {
        int64_t granule = 0;
        std::memcpy(&granule, &at[6], sizeof granule);
        granule += granule > 0 ? frames : 0;
        std::memcpy(&at[6], &granule, sizeof granule);
    }
    return resealed(bytes);
}

TEST(OggFiles, TheFirstAndTheLastPageSayWhatIsLeftOut)
{
    const Bytes opus = oggMedia(Codec::Opus, 48000, 2);
    const auto sound = converted(vorbis());
    EXPECT_TRUE(converted(moved(vorbis(), 100'000)) == sound) << "taken from the middle of something longer";
    EXPECT_TRUE(converted(moved(opus, 100'000), 48000) == converted(opus, 48000));
    const auto later = converted(moved(vorbis(), -500));
    ASSERT_EQ(later.size() + 1000, sound.size());
    EXPECT_TRUE(std::equal(later.begin(), later.end(), sound.begin() + 1000)) << "cut in front";
    for (const int64_t frames : {1, 100, 1000, 5000}) { // a page only
        EXPECT_EQ(converted(oggMedia(Codec::Vorbis, 44100, 2, frames)).size() / 2, frames);
        EXPECT_EQ(converted(oggMedia(Codec::Opus, 48000, 2, frames), 48000).size() / 2, frames);
    }
}

TEST(OggFiles, OpusIsThatOfItsOwnDecoderAndSoughtExactlyWhereverItIsLong)
{
    const auto path = make({.codec = Codec::Opus,
                            .rate = 48000,
                            .channels = 1,
                            .frames = 20 * 48000,
                            .options = {"-frame_duration", "60", "-page_duration", "60000"}});
    const auto reference = temporaryPath("reference.raw");
    const std::vector<std::string> command{"ffmpeg",  "-nostdin", "-v", "error", "-y",    "-c:a",
                                           "libopus", "-i",       path, "-f",    "s16le", reference};
    ASSERT_EQ(runTool(command).status, 0);
    const auto expected = samplesOf<int16_t>(readBytes(reference));
    auto opened = openBytes(openOgg, readBytes(path));
    ASSERT_TRUE(opened);
    const auto straight = readToEnd(**opened);
    ASSERT_EQ(straight.size(), expected.size());
    for (std::size_t i = 0; i < straight.size(); ++i)
        ASSERT_NEAR(straight[i] * 32768, expected[i], 1.5) << "frame " << i;
    std::mt19937 random(3);
    for (int i = 0; i < 30; ++i) {
        const int64_t target = i == 0 ? 8 * 48000 : static_cast<int64_t>(random() % straight.size());
        ASSERT_EQ((*opened)->seek(target), noErr);
        const auto part = readFrames(**opened, 100'000, 5000);
        EXPECT_TRUE(std::equal(part.begin(), part.end(), straight.begin() + target)) << "target " << target;
    }
}

TEST(OggFiles, OpusIsAsLoudAsItsHeaderSays)
{
    const Bytes bytes = oggMedia(Codec::Opus, 48000, 2);
    const auto sound = converted(bytes, 48000);
    const auto gain = static_cast<uint16_t>(-6 * 256); // dB
    const auto quieter = converted(resealed(withLittle(bytes, placeOf("OpusHead", bytes) + 16, gain, 2)), 48000);
    ASSERT_EQ(quieter.size(), sound.size());
    for (std::size_t i = 0; i < sound.size(); ++i)
        ASSERT_NEAR(quieter[i], sound[i] * std::pow(10.0F, -0.3F), 1e-4);
}

TEST(OggFiles, ACutLastPageIsThereAfterAnyNumberOfSeeks)
{
    const Bytes whole = oggMedia(Codec::Vorbis, 44100, 1);
    auto opened = openBytes(openOgg, part(whole, 0, whole.size() - 300));
    ASSERT_TRUE(opened);
    const int64_t last = (*opened)->format().frames - 100;
    ASSERT_EQ((*opened)->seek(last), noErr);
    const auto expected = readFrames(**opened, 100, 100);
    EXPECT_TRUE(std::ranges::any_of(expected, [](float sample) { return sample != 0; }));
    for (int i = 0; i < 1500; ++i) {
        ASSERT_EQ((*opened)->seek(last - 3000), noErr); // in the same page
        ASSERT_EQ(readFrames(**opened, 1, 1).size(), 1U);
        ASSERT_EQ((*opened)->seek(last), noErr);
        ASSERT_TRUE(readFrames(**opened, 100, 100) == expected) << "seek " << i;
    }
}

} // namespace
} // namespace kx::test
