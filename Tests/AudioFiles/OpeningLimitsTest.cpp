#include "FileTestSupport.h"
#include "KXFW/Platform/AudioFiles/FileReader.h"
#include "KXFW/Platform/AudioFiles/OpeningSource.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/MemorySource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kx::test
{

namespace
{

/// Requests a stop when read number `last` comes.
class StoppingSource final : public ByteSource
{
public:
    StoppingSource(Bytes bytes, int last) : bytes_(std::move(bytes)), last_(last) {}
    [[nodiscard]] int64_t size() const noexcept override { return bytes_.size(); }
    int64_t readAt(int64_t offset, void *bytes, int64_t count) noexcept override
    {
        if (++reads == last_)
            stop.request_stop();
        return bytes_.readAt(offset, bytes, count);
    }
    [[nodiscard]] OSStatus error() const noexcept override { return noErr; }

    std::stop_source stop;
    int reads = 0;

private:
    MemorySource bytes_;
    int last_;
};

TEST(OpeningAFile, EndsBeforeTheNextReadOnceItIsCancelled)
{
    const auto media = [](Codec codec) { return readBytes(make({.codec = codec, .frames = 9000})); };
    for (const Codec codec : {Codec::WAV, Codec::AIFF, Codec::FLAC, Codec::Vorbis, Codec::MP3, Codec::AAC}) {
        SCOPED_TRACE(static_cast<int>(codec));
        const auto whole = std::make_shared<StoppingSource>(media(codec), 0);
        ASSERT_TRUE(FileReader::open(whole, whole->stop.get_token()));
        for (int last = 1; last <= whole->reads; ++last) {
            const auto source = std::make_shared<StoppingSource>(media(codec), last);
            EXPECT_EQ(FileReader::open(source, source->stop.get_token()).status(), kAudioFileOpeningCancelledError);
            EXPECT_EQ(source->reads, last);
        }
    }
    std::stop_source stop;
    stop.request_stop();
    ExtAudioFileRef file = nullptr;
    EXPECT_EQ(ExtAudioFileOpenURL(make({.codec = Codec::WAV, .frames = 9000}), &file, stop.get_token()),
              kAudioFileOpeningCancelledError);
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

/// The bytes, with others before the first that say `where`.
Bytes inserted(const Bytes &bytes, std::string_view where, std::ptrdiff_t back, const Bytes &more)
{
    const auto place = std::search(bytes.begin(), bytes.end(), where.begin(), where.end()) - back;
    return Bytes(bytes.begin(), place) + more + Bytes(place, bytes.end());
}

Bytes big(std::initializer_list<uint32_t> numbers)
{
    Bytes bytes(4 * numbers.size());
    std::size_t at = 0;
    for (const uint32_t number : numbers)
        putBig(bytes, std::exchange(at, at + 4), number, 4);
    return bytes;
}

/// The file, whose 'moov' box comes last, with more in it.
Bytes inMovie(Bytes file, const Bytes &more)
{
    const std::string_view type = "moov";
    const auto place = std::search(file.begin(), file.end(), type.begin(), type.end()) - file.begin() - 4;
    putBig(file, static_cast<std::size_t>(place), file.size() - static_cast<std::size_t>(place) + more.size(), 4);
    return std::move(file) + more;
}

/// One size for all packets, as many as the file is thought to have room for.
Bytes withPacketsOfOneByte(const Bytes &file)
{
    Bytes bytes = file + box("free", Bytes(kMuch));
    const std::string_view type = "stsz";
    const auto place = std::search(bytes.begin(), bytes.end(), type.begin(), type.end()) - bytes.begin();
    putBig(bytes, static_cast<std::size_t>(place) + 8, 1, 4);
    putBig(bytes, static_cast<std::size_t>(place) + 12, bytes.size() / 4, 4);
    return bytes;
}

/// First pages of Opus streams, each with a header that asks for 255 decoders to make a channel.
Bytes greedyStreams()
{
    Bytes page = bytesOf("OggS") + Bytes(24) + bytesOf("OpusHead") + Bytes{1, 1, 0, 0, 128, 187, 0, 0, 0, 0, 255, 255} +
                 Bytes(2);
    page[5] = 2;
    page[26] = 1;
    page[27] = 22;
    Bytes file = repeated(page, 1300);
    for (std::size_t at = 0; at < file.size(); at += page.size())
        putLittle(file, at + 14, at, 4);
    return resealed(file);
}

struct HostileFile {
    const char *name;
    Bytes bytes;
};

std::vector<HostileFile> hostileFiles()
{
    const auto media = [](Codec codec, std::vector<std::string> options = {}) {
        return readBytes(make({.codec = codec, .frames = 9000, .options = std::move(options)}));
    };
    const Bytes m4a = media(Codec::AAC);
    const Bytes parts = media(Codec::AAC, {"-movflags", "frag_keyframe+empty_moov"});
    const auto fragment = [](const Bytes &run) {
        return box("moof", box("mfhd", Bytes(8)) + box("traf", box("tfhd", big({16, 1, 0})) + run));
    };
    const Bytes meta = Bytes(4) + box("hdlr", big({0, 0, fourCharCode("mdir"), 0, 0, 0}));
    const Bytes wave = waveBytes(44100, 2, 16, samples({.frames = 1000}));
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
        {"empty padding in FLAC", Bytes(flac.begin(), flac.begin() + 4) + Bytes{0, 0, 0, 34} +
                                      Bytes(flac.begin() + 8, flac.begin() + 42) + repeated({1, 0, 0, 0}, kMuch / 4)},
        {"half frames in FLAC", Bytes(flac.begin(), flac.begin() + 2000) + repeated({255, 248, 201, 24}, kMuch / 4)},
        {"page marks in Ogg", Bytes(vorbis.begin(), vorbis.begin() + 3000) + repeated(bytesOf("OggS"), kMuch / 4)},
        {"greedy streams in Ogg", greedyStreams()},
        {"empty tags of MP3", repeated(bytesOf("ID3") + Bytes{4, 0, 0, 0, 0, 0, 0}, kMuch / 10) + media(Codec::MP3)},
        {"sync bytes behind MP3", media(Codec::MP3) + Bytes(kMuch, 255)},
        {"half frames of MP3", repeated({255, 251, 144, 0}, kMuch / 4)},
    };
}

/// What a child process needs for its work.
struct Cost {
    int64_t bytes;  ///< at the peak, of memory
    double seconds; ///< of the processor
};

Cost costOf(const std::function<void()> &work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        work();
        ::_exit(0);
    }
    int status = -1;
    rusage usage{};
    ::wait4(child, &status, 0, &usage);
    EXPECT_EQ(status, 0);
    const auto seconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return {usage.ru_maxrss * int64_t{1024}, seconds(usage.ru_utime) + seconds(usage.ru_stime)};
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
        const Cost nothing = costOf([] {});
        const Cost cost = costOf([&] { (void)FileReader::open(source); });
        const auto length = static_cast<int64_t>(bytes.size());
        EXPECT_LE(cost.bytes - nothing.bytes, dearer * ((64 << 20) + 8 * length)) << name;
        EXPECT_LE(cost.seconds, dearer * (1 + static_cast<double>(length) / (32 << 20))) << name;
    }
}

} // namespace
} // namespace kx::test
