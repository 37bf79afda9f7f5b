#include "FileTestSupport.h"
#include "KXFW/Platform/AudioFiles/Codecs/VorbisSetup.h"
#include "KXFW/Platform/AudioFiles/OpeningSource.h"

#include <algorithm>
#include <bit>
#include <ogg/ogg.h>

namespace kx::test
{

namespace
{

Bytes media(Codec codec, std::vector<std::string> options = {})
{
    return readBytes(make({.codec = codec, .frames = 9000, .options = std::move(options)}));
}

TEST(OpeningAFile, EndsBeforeTheNextReadOnceItIsCancelled)
{
    for (const Codec codec : {Codec::WAV, Codec::AIFF, Codec::FLAC, Codec::Vorbis, Codec::MP3, Codec::AAC}) {
        SCOPED_TRACE(static_cast<int>(codec));
        const auto whole = std::make_shared<MemorySource>(media(codec));
        ASSERT_TRUE(FileReader::open(whole, whole->stop.get_token()));
        for (int last = 1; last <= whole->reads; ++last) {
            const auto source = std::make_shared<MemorySource>(media(codec));
            source->stopAt = last;
            EXPECT_EQ(FileReader::open(source, source->stop.get_token()).status(), kAudioFileOpeningCancelledError);
            EXPECT_EQ(source->reads, last);
        }
    }
    std::stop_source stop;
    stop.request_stop();
    ExtAudioFileRef file = nullptr;
    EXPECT_EQ(ExtAudioFileOpenURL(make({.frames = 9000}), &file, stop.get_token()), kAudioFileOpeningCancelledError);
}

TEST(OpeningAFile, MayReadAndComputeWhatItsLengthEarns)
{
    const auto readOver = [](OpeningSource &source, int64_t count) {
        Bytes bytes(static_cast<std::size_t>(count));
        int64_t total = 0;
        for (int64_t got = 0; (got = source.readAt(0, bytes.data(), count)) > 0;)
            total += got;
        EXPECT_EQ(source.error(), kAudioFileInvalidFileError);
        EXPECT_EQ(source.finish(), kAudioFileInvalidFileError);
        EXPECT_EQ(source.readAt(0, bytes.data(), count), count) << "the limits are those of opening";
        return total;
    };
    constexpr int64_t size = 1 << 20;
    OpeningSource manyBytes(std::make_shared<MemorySource>(Bytes(size)), {});
    EXPECT_EQ(readOver(manyBytes, size), (16 << 20) + 5 * size);
    OpeningSource manyReads(std::make_shared<MemorySource>(Bytes(1)), {});
    EXPECT_LT(readOver(manyReads, 1), 16 << 20) << "it ends by its time";
}

constexpr std::size_t kMuch = 8 << 20; ///< bytes of nothing useful

/// The bytes, with others `back` before the first that say `where`.
Bytes inserted(const Bytes &bytes, std::string_view where, std::size_t back, const Bytes &more)
{
    const std::size_t place = placeOf(where, bytes) - back;
    return part(bytes, 0, place) + more + part(bytes, place);
}

Bytes big(std::initializer_list<uint32_t> numbers)
{
    Bytes bytes;
    for (const uint32_t number : numbers)
        bytes = std::move(bytes) + withBig(Bytes(4), 0, number, 4);
    return bytes;
}

/// One size for all packets, as many as the file is thought to have room for.
Bytes withPacketsOfOneByte(const Bytes &file)
{
    const Bytes bytes = file + box("free", Bytes(kMuch));
    const std::size_t sizes = placeOf("stsz", bytes);
    return withBig(withBig(bytes, sizes + 8, 1, 4), sizes + 12, bytes.size() / 4, 4);
}

/// A page that holds a packet, without its checksum.
Bytes oggPage(uint8_t flags, uint32_t serial, uint8_t number, const Bytes &packet)
{
    const Bytes lacing = Bytes(packet.size() / 255, 255) + Bytes{static_cast<uint8_t>(packet.size() % 255)};
    const Bytes head = bytesOf("OggS") + Bytes{0, flags} + Bytes(20) + Bytes{static_cast<uint8_t>(lacing.size())};
    return withLittle(withLittle(head, 14, serial, 4), 18, number, 4) + lacing + packet;
}

/// First pages of Opus streams, each with a header that asks for 255 decoders to make a channel.
Bytes greedyStreams()
{
    Bytes file;
    for (uint32_t serial = 0; serial < 1300; ++serial)
        file = std::move(file) +
               oggPage(2, serial, 0, bytesOf("OpusHead") + Bytes{1, 1, 0, 0, 128, 187, 0, 0, 0, 0, 255, 255, 0, 0});
    return resealed(file);
}

/// A setup header of Vorbis with code books that take a few bits and stand for `entries` entries each.
Bytes setupHeader(int books, int entries)
{
    oggpack_buffer bits;
    oggpack_writeinit(&bits);
    for (const char c : std::string_view("\5vorbis"))
        oggpack_write(&bits, static_cast<unsigned char>(c), 8);
    oggpack_write(&bits, static_cast<unsigned long>(books - 1), 8);
    const int length = std::bit_width(static_cast<unsigned>(entries));
    for (int i = 0; i < books; ++i)
        // The mark, dimensions, entries; in order, all of one length, less one, so many; no values.
        for (const auto &[value, count] :
             {std::pair{0x564342, 24}, {1, 16}, {entries, 24}, {1, 1}, {20, 5}, {entries, length}, {0, 4}})
            oggpack_write(&bits, static_cast<unsigned long>(value), count);
    const Bytes bytes(bits.buffer, bits.buffer + oggpack_bytes(&bits));
    oggpack_writeclear(&bits);
    return bytes;
}

/// A Vorbis file of a few kilobytes without sound whose code books stand for gigabytes.
Bytes greedyCodeBooks()
{
    const Bytes identity = bytesOf("\1vorbis") + Bytes{0, 0, 0, 0, 2, 0x44, 0xAC} + Bytes(14) + Bytes{0xB8, 1};
    return resealed(oggPage(2, 1, 0, identity) + oggPage(0, 1, 1, bytesOf("\3vorbis") + Bytes(8)) +
                    oggPage(0, 1, 2, setupHeader(256, 1 << 20)));
}

TEST(OpeningAFile, RefusesCodeBooksThatStandForGigabytes)
{
    const auto isTaken = [](Bytes bytes) {
        return hasModestCodeBooks({bytes.data(), static_cast<long>(bytes.size()), 0, 0, -1, 2});
    };
    const Bytes many = setupHeader(200, 8000);
    EXPECT_TRUE(isTaken(many));
    EXPECT_FALSE(isTaken(part(many, 0, many.size() / 2)));
    EXPECT_FALSE(isTaken(setupHeader(1, 1 << 17)));
    EXPECT_FALSE(isTaken(setupHeader(200, 1 << 16)));
}

std::vector<std::pair<const char *, Bytes>> hostileFiles()
{
    const Bytes m4a = media(Codec::AAC);
    const Bytes parts = media(Codec::AAC, {"-movflags", "frag_keyframe+empty_moov"});
    const auto fragment = [](const Bytes &run) {
        return box("moof", box("mfhd", Bytes(8)) + box("traf", box("tfhd", big({16, 1, 0})) + run));
    };
    const Bytes meta = Bytes(4) + box("hdlr", big({0, 0, fourCharCode("mdir"), 0, 0, 0}));
    const Bytes wave = media(Codec::WAV);
    const Bytes flac = media(Codec::FLAC);
    const Bytes vorbis = media(Codec::Vorbis);
    return {
        {"keys of 2 GiB", inMovie(m4a, box("meta", meta + box("keys", big({0, 0x0FFFFFFF, 0}))))},
        {"groups of 2 GiB", inMovie(m4a, box("trak", box("sgpd", big({1 << 24, 0, 4, 0x0FFFFFFF}))))},
        {"empty boxes", inserted(m4a, "moov", 4, repeated(box("free"), kMuch / 8))},
        {"empty boxes in the movie", inMovie(m4a, repeated(box("free"), kMuch / 8))},
        {"empty tracks", inMovie(m4a, repeated(box("trak"), kMuch / 8))},
        {"empty texts", inMovie(m4a, box("meta", meta + box("ilst", repeated(box("----"), kMuch / 8))))},
        {"empty fragments", parts + repeated(fragment({}), 60'000)},
        {"packets of nothing in fragments", parts + repeated(fragment(box("trun", big({0, 1000}))), 20'000)},
        {"packets of nothing in a fragment", parts + fragment(box("trun", big({0, 0x0FFFFFFF})))},
        {"packets of a byte", withPacketsOfOneByte(m4a)},
        {"empty chunks in WAVE", inserted(wave, "data", 0, repeated(bytesOf("junk") + Bytes(4), kMuch / 8))},
        {"cues of 4 Gi in WAVE",
         inserted(wave, "data", 0, repeated(bytesOf("cue ") + Bytes{4, 0, 0, 0, 255, 255, 255, 255}, 4000))},
        {"empty chunks in AIFF",
         inserted(media(Codec::AIFF), "SSND", 0, repeated(bytesOf("junk") + Bytes(4), kMuch / 8))},
        {"empty padding in FLAC",
         part(flac, 0, 4) + Bytes{0, 0, 0, 34} + part(flac, 8, 42) + repeated({1, 0, 0, 0}, kMuch / 4)},
        {"half frames in FLAC", part(flac, 0, 2000) + repeated({255, 248, 201, 24}, kMuch / 4)},
        {"page marks in Ogg", part(vorbis, 0, 3000) + repeated(bytesOf("OggS"), kMuch / 4)},
        {"greedy streams in Ogg", greedyStreams()},
        {"code books of gigabytes in Ogg", greedyCodeBooks()},
        {"empty tags of MP3", repeated(bytesOf("ID3") + Bytes{4, 0, 0, 0, 0, 0, 0}, kMuch / 10) + media(Codec::MP3)},
        {"sync bytes behind MP3", media(Codec::MP3) + Bytes(kMuch, 255)},
        {"half frames of MP3", repeated({255, 251, 144, 0}, kMuch / 4)},
    };
}

TEST(OpeningAFile, TakesNoMoreMemoryAndTimeThanItsLengthEarns)
{
#ifdef KX_SANITIZED
    constexpr int dearer = 8;
#else
    constexpr int dearer = 1;
#endif
    ASSERT_TRUE(FileReader::open(make({.codec = Codec::AAC, .frames = 9000}))); // loads what all have to load
    for (const auto &[name, bytes] : hostileFiles()) {
        const auto source = std::make_shared<MemorySource>(bytes);
        const Cost nothing = inChild([] { return 0; });
        const Cost cost = inChild([&] {
            (void)FileReader::open(source);
            return 0;
        });
        const auto length = static_cast<int64_t>(bytes.size());
        EXPECT_EQ(cost.status, 0) << name;
        EXPECT_LE(cost.bytes - nothing.bytes, dearer * ((64 << 20) + 8 * length)) << name;
        EXPECT_LE(cost.seconds, dearer * (1 + static_cast<double>(length) / (32 << 20))) << name;
    }
}

} // namespace
} // namespace kx::test
