#include "FileTestSupport.h"
#include "KXFW/Platform/AudioFiles/Codecs/VorbisSetup.h"
#include "KXFW/Platform/AudioFiles/FileReader.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/MemorySource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>
#include <sys/resource.h>

namespace kx::test
{

namespace
{

Bytes oggMedia(Codec codec, uint32_t rate, uint32_t channels, int64_t frames = 60'007, uint32_t seed = 1)
{
    return readBytes(make({.codec = codec, .rate = rate, .channels = channels, .frames = frames, .seed = seed}));
}

constexpr std::string_view kPage = "OggS";

/// All frames of a file as floats of this rate and channel count.
std::vector<float> converted(const Bytes &bytes, double rate, uint32_t channels)
{
    auto opened = FileReader::open(std::make_shared<MemorySource>(bytes));
    if (!opened || (*opened)->setClient(interleaved(rate, channels, 32, kAudioFormatFlagIsFloat)) != noErr)
        return {};
    std::vector<float> all;
    std::vector<float> block(std::size_t{4096} * channels);
    for (uint32_t frames = 4096; frames == 4096;
         all.insert(all.end(), block.begin(), block.begin() + frames * channels)) {
        AudioBufferList list{1, {{channels, static_cast<uint32_t>(block.size() * 4), block.data()}}};
        EXPECT_EQ((*opened)->read(frames, list), noErr);
    }
    return all;
}

TEST(OggChain, PlaysItsLinksInTheFormatOfTheFirst)
{
    const Bytes vorbis = oggMedia(Codec::Vorbis, 44100, 2);
    const Bytes flac = oggMedia(Codec::OggFLAC, 44100, 2);
    const std::pair<const char *, std::vector<Bytes>> chains[] = {
        {"alike", {vorbis, oggMedia(Codec::Vorbis, 44100, 2, 30'011, 2), vorbis}},
        {"FLAC", {flac, oggMedia(Codec::OggFLAC, 44100, 2, 30'011, 2)}},
        {"another kind of samples", {flac, vorbis}},
        {"another channel count", {vorbis, oggMedia(Codec::Vorbis, 44100, 1), oggMedia(Codec::Vorbis, 44100, 6)}},
        {"other rates", {vorbis, oggMedia(Codec::Opus, 48000, 2), oggMedia(Codec::Vorbis, 22050, 1), flac}},
    };
    for (const auto &[name, links] : chains) {
        SCOPED_TRACE(name);
        Bytes bytes;
        std::vector<float> expected;
        for (const Bytes &link : links) {
            bytes = bytes + link;
            const auto sound = converted(link, 44100, 2);
            expected.insert(expected.end(), sound.begin(), sound.end());
        }
        auto opened = openBytes(openOgg, bytes);
        ASSERT_TRUE(opened);
        Decoder &decoder = **opened;
        EXPECT_EQ(decoder.format().frames, static_cast<int64_t>(expected.size() / 2));
        const auto straight = readToEnd(decoder, 1000);
        EXPECT_TRUE(straight == expected);
        std::mt19937 random(5);
        for (int i = 0; i < 60; ++i) {
            const auto target = static_cast<int64_t>(random() % (expected.size() / 2));
            ASSERT_EQ(decoder.seek(target), noErr);
            const auto part = readFrames(decoder, 40'000, 777);
            ASSERT_EQ(part.size(),
                      std::min<std::size_t>(80'000, expected.size() - 2 * static_cast<std::size_t>(target)));
            for (std::size_t s = 0; s < part.size(); ++s)
                ASSERT_NEAR(part[s], expected[2 * static_cast<std::size_t>(target) + s], 1.0 / 32768)
                    << "target " << target << ", sample " << s;
        }
    }
}

TEST(OggChain, LeavesOutWhatItCannotPlay)
{
    const Bytes good = oggMedia(Codec::Vorbis, 44100, 2);
    const auto alone = converted(good, 44100, 2);
    Bytes unknown = good;
    const std::string_view name = "vorbis";
    for (auto at = unknown.begin(); (at = std::search(at, unknown.end(), name.begin(), name.end())) != unknown.end();)
        *at = 'w';
    unknown = resealed(unknown);
    const Bytes headersOnly(good.begin(), good.begin() + 2000);
    for (const Bytes &other : {unknown, headersOnly, Bytes(1000, 'O')})
        EXPECT_EQ(converted(good + other + good, 44100, 2).size(), 2 * alone.size()) << other.size();
    EXPECT_EQ(openBytes(openOgg, headersOnly).status(), kAudioFileInvalidFileError);
    EXPECT_EQ(openBytes(openOgg, unknown).status(), kAudioFileUnsupportedDataFormatError);
}

/// The file with the positions of its pages moved.
Bytes moved(Bytes bytes, int64_t frames)
{
    for (auto at = bytes.begin(); (at = std::search(at, bytes.end(), kPage.begin(), kPage.end())) != bytes.end();
         ++at) {
        int64_t granule = 0;
        std::memcpy(&granule, &at[6], sizeof granule);
        granule += granule > 0 ? frames : 0;
        std::memcpy(&at[6], &granule, sizeof granule);
    }
    return resealed(bytes);
}

TEST(OggFiles, TheFirstAndTheLastPageSayWhatIsLeftOut)
{
    const Bytes vorbis = oggMedia(Codec::Vorbis, 44100, 2);
    const Bytes opus = oggMedia(Codec::Opus, 48000, 2);
    const auto sound = converted(vorbis, 44100, 2);
    EXPECT_TRUE(converted(moved(vorbis, 100'000), 44100, 2) == sound) << "taken from the middle of something longer";
    EXPECT_TRUE(converted(moved(opus, 100'000), 48000, 2) == converted(opus, 48000, 2));
    const auto later = converted(moved(vorbis, -500), 44100, 2);
    ASSERT_EQ(later.size() + 1000, sound.size());
    EXPECT_TRUE(std::equal(later.begin(), later.end(), sound.begin() + 1000)) << "cut in front";
    for (const int64_t frames : {1, 100, 1000, 5000}) { // a page only
        EXPECT_EQ(converted(oggMedia(Codec::Vorbis, 44100, 2, frames), 44100, 2).size() / 2, frames);
        EXPECT_EQ(converted(oggMedia(Codec::Opus, 48000, 2, frames), 48000, 2).size() / 2, frames);
    }
}

TEST(OggFiles, OpusIsThatOfItsOwnDecoderAndSoughtExactlyWhereverItIsLong)
{
    const MediaSpec spec{.codec = Codec::Opus,
                         .rate = 48000,
                         .channels = 1,
                         .frames = 20 * 48000,
                         .options = {"-frame_duration", "60", "-page_duration", "60000"}};
    const auto reference = temporaryPath("reference.raw");
    ASSERT_EQ(runTool({"ffmpeg", "-nostdin", "-v", "error", "-y", "-c:a", "libopus", "-i", make(spec), "-f", "s16le",
                       reference})
                  .status,
              0);
    const auto expected = samplesOf<int16_t>(readBytes(reference));
    auto opened = openBytes(openOgg, readBytes(make(spec)));
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

/// A setup header with code books that take a few bits and stand for `entries` entries each.
std::vector<uint8_t> setupHeader(int books, int entries)
{
    oggpack_buffer bits;
    oggpack_writeinit(&bits);
    for (const char c : std::string_view("\5vorbis"))
        oggpack_write(&bits, static_cast<unsigned char>(c), 8);
    oggpack_write(&bits, static_cast<unsigned long>(books - 1), 8);
    for (int i = 0; i < books; ++i) {
        oggpack_write(&bits, 0x564342, 24);
        oggpack_write(&bits, 1, 16); // dimensions
        oggpack_write(&bits, static_cast<unsigned long>(entries), 24);
        oggpack_write(&bits, 1, 1);  // in order, all of one length
        oggpack_write(&bits, 20, 5); // less one
        oggpack_write(&bits, static_cast<unsigned long>(entries), std::bit_width(static_cast<unsigned>(entries)));
        oggpack_write(&bits, 0, 4); // no values
    }
    const std::vector<uint8_t> bytes(bits.buffer, bits.buffer + oggpack_bytes(&bits));
    oggpack_writeclear(&bits);
    return bytes;
}

TEST(OggFiles, CodeBooksThatStandForGigabytesAreRefused)
{
    const auto isTaken = [](std::vector<uint8_t> bytes) {
        return hasModestCodeBooks({bytes.data(), static_cast<long>(bytes.size()), 0, 0, -1, 2});
    };
    EXPECT_TRUE(isTaken(setupHeader(200, 8000)));
    EXPECT_FALSE(isTaken(setupHeader(1, 1 << 17)));
    EXPECT_FALSE(isTaken(setupHeader(200, 1 << 17)));
    auto cut = setupHeader(200, 8000);
    cut.resize(cut.size() / 2);
    EXPECT_FALSE(isTaken(cut));
}

/// A file whose third header is `setup` and has no sound.
Bytes vorbisWith(Bytes setup)
{
    Bytes identity = bytesOf("\1vorbis") + Bytes(23);
    identity[11] = 2;
    putLittle(identity, 12, 44100, 4);
    identity[28] = 0xB8; // blocks of 256 and 2048
    identity[29] = 1;
    Bytes comment = bytesOf("\3vorbis") + Bytes(8);
    ogg_stream_state stream;
    ogg_stream_init(&stream, 1);
    Bytes file;
    ogg_page page;
    int64_t number = 0;
    for (Bytes *header : {&identity, &comment, &setup}) {
        ogg_packet packet{header->data(), static_cast<long>(header->size()), number == 0, 0, 0, number};
        ++number;
        ogg_stream_packetin(&stream, &packet);
        while (ogg_stream_flush(&stream, &page) != 0)
            file =
                file + Bytes(page.header, page.header + page.header_len) + Bytes(page.body, page.body + page.body_len);
    }
    ogg_stream_clear(&stream);
    return file;
}

#ifndef KX_SANITIZED
TEST(OggFiles, AFewKilobytesTakeNoHundredsOfMegabytes)
{
    const Bytes file = vorbisWith(setupHeader(256, 1 << 20));
    EXPECT_LT(file.size(), 10'000U);
    const auto memory = [] {
        rusage usage{};
        ::getrusage(RUSAGE_SELF, &usage);
        return usage.ru_maxrss;
    };
    EXPECT_EQ(inChild([&] {
                  const long before = memory();
                  return openBytes(openOgg, file).status() == noErr || memory() - before > 64 << 10 ? 1 : 0;
              }),
              0);
}
#endif

TEST(OggFiles, ACutLastPageIsThereAfterAnyNumberOfSeeks)
{
    Bytes cut = oggMedia(Codec::Vorbis, 44100, 1);
    cut.resize(cut.size() - 300);
    auto opened = openBytes(openOgg, cut);
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

TEST(OggFiles, OpusIsAsLoudAsItsHeaderSays)
{
    const Bytes bytes = oggMedia(Codec::Opus, 48000, 2);
    const auto sound = converted(bytes, 48000, 2);
    const std::string_view head = "OpusHead";
    Bytes quiet = bytes;
    const auto at = std::search(quiet.begin(), quiet.end(), head.begin(), head.end()) - quiet.begin();
    putLittle(quiet, static_cast<std::size_t>(at) + 16, static_cast<uint16_t>(-6 * 256), 2); // dB
    const auto quieter = converted(resealed(quiet), 48000, 2);
    ASSERT_EQ(quieter.size(), sound.size());
    for (std::size_t i = 0; i < sound.size(); ++i)
        ASSERT_NEAR(quieter[i], sound[i] * std::pow(10.0F, -0.3F), 1e-4);
}

} // namespace
} // namespace kx::test
