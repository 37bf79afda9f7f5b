#include "Tests/Support/HostileBytes.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/MemorySource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>

namespace kx::test
{

namespace
{

constexpr int64_t kLength = 50021;
constexpr int64_t kPriming = 1024; ///< frames that the encoder puts in front

MediaSpec aac(std::vector<std::string> options = {})
{
    return {.codec = Codec::AAC, .frames = kLength, .options = std::move(options)};
}

MediaSpec alac(uint32_t bits, std::vector<std::string> options = {})
{
    return {.codec = Codec::ALAC, .frames = kLength, .bits = bits, .options = std::move(options)};
}

std::vector<float> decode(const Bytes &bytes)
{
    auto opened = openBytes(openMPEG4, bytes);
    EXPECT_TRUE(opened) << opened.status();
    return opened ? readToEnd(**opened) : std::vector<float>();
}

/// Where the contents of the first box of this type begin.
std::size_t bodyOf(const Bytes &bytes, std::string_view type)
{
    const auto found = std::search(bytes.begin(), bytes.end(), type.begin(), type.end());
    EXPECT_NE(found, bytes.end()) << type;
    return static_cast<std::size_t>(found - bytes.begin()) + 4;
}

void putNumber(Bytes &bytes, std::size_t offset, uint32_t value)
{
    for (std::size_t i = 0; i < 4; ++i)
        bytes.at(offset + i) = static_cast<uint8_t>(value >> (24 - 8 * i));
}

uint32_t numberAt(const Bytes &bytes, std::size_t offset)
{
    uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value = value << 8 | bytes.at(offset + i);
    return value;
}

/// The file without its edit list.
Bytes withoutEdits(Bytes bytes)
{
    const std::size_t body = bodyOf(bytes, "edts");
    std::copy_n("free", 4, bytes.begin() + static_cast<std::ptrdiff_t>(body) - 4);
    return bytes;
}

/// The file with this edit: duration in milliseconds, start in frames.
Bytes withEdit(Bytes bytes, uint32_t duration, uint32_t start)
{
    const std::size_t body = bodyOf(bytes, "elst");
    putNumber(bytes, body + 8, duration);
    putNumber(bytes, body + 12, start);
    return bytes;
}

Bytes joined(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes &part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

Bytes bytesOf(std::string_view text)
{
    return {text.begin(), text.end()};
}

Bytes box(std::string_view type, const Bytes &contents)
{
    Bytes bytes = joined({Bytes(4), bytesOf(type), contents});
    putNumber(bytes, 0, static_cast<uint32_t>(bytes.size()));
    return bytes;
}

Bytes versioned(std::string_view text)
{
    return joined({Bytes(4), bytesOf(text)});
}

/// The file, whose 'moov' box comes last, with a text tag in it.
Bytes withTag(Bytes bytes, std::string_view name, std::string_view value)
{
    Bytes handler(24);
    std::copy_n("mdirappl", 8, handler.begin() + 8);
    const Bytes data = joined({{0, 0, 0, 1, 0, 0, 0, 0}, bytesOf(value)});
    const Bytes item =
        joined({box("mean", versioned("com.apple.iTunes")), box("name", versioned(name)), box("data", data)});
    const Bytes list = box("ilst", box("----", item));
    const Bytes tag = box("udta", box("meta", joined({Bytes(4), box("hdlr", handler), list})));
    const std::size_t moov = bodyOf(bytes, "moov") - 8;
    putNumber(bytes, moov, numberAt(bytes, moov) + static_cast<uint32_t>(tag.size()));
    return joined({bytes, tag});
}

double difference(const std::vector<float> &sound, const std::vector<float> &source, std::size_t shift)
{
    double sum = 0;
    const std::size_t count = std::min(sound.size(), source.size()) - 2 * shift;
    for (std::size_t i = 0; i < count; ++i)
        sum += std::pow(sound[i + 2 * shift] - source[i], 2);
    return sum / static_cast<double>(count);
}

} // namespace

TEST(MPEG4Codec, KnowsItsFiles)
{
    const auto isRecognised = [](const Bytes &bytes) {
        MemorySource source(bytes);
        return recognisesMPEG4(source);
    };
    EXPECT_TRUE(isRecognised(readBytes(make(aac()))));
    EXPECT_TRUE(isRecognised(readBytes(make(alac(16)))));
    EXPECT_FALSE(isRecognised({}));
    EXPECT_FALSE(isRecognised({0, 0, 0, 8, 'f', 't', 'y'}));
    for (const Codec codec : {Codec::WAV, Codec::AIFF, Codec::FLAC, Codec::MP3})
        EXPECT_FALSE(isRecognised(readBytes(make({.codec = codec}))));
}

TEST(MPEG4Codec, GivesAppleLosslessBitForBit)
{
    for (const uint32_t bits : {16U, 24U}) {
        auto opened = openBytes(openMPEG4, readBytes(make(alac(bits))));
        ASSERT_TRUE(opened) << opened.status();
        EXPECT_EQ((*opened)->format().kind == SampleKind::Int16, bits == 16);
        EXPECT_EQ((*opened)->format().file.mFormatID, kAudioFormatAppleLossless);
        EXPECT_EQ(readToEnd(**opened), floatSamples(alac(bits))) << bits << " bits";
    }
}

TEST(MPEG4Codec, GivesAACInItsPlace)
{
    const auto source = floatSamples(aac());
    const auto sound = decode(readBytes(make(aac({"-b:a", "256k"}))));
    ASSERT_EQ(sound.size(), source.size());
    EXPECT_LT(difference(sound, source, 0), 0.001);
    EXPECT_LT(difference(sound, source, 0) * 2, difference(sound, source, 1));
    EXPECT_LT(difference(sound, source, 0) * 2, difference(source, sound, 1));
}

TEST(MPEG4Codec, LetsNobodyHearTheSegments)
{
    MediaSpec spec = aac({"-b:a", "96k", "-aac_pns", "0"});
    spec.frames = 4 * 64 * 1024;
    const auto path = make(spec);
    const auto plain = temporaryPath("plain.f32");
    ASSERT_EQ(runTool({"ffmpeg", "-nostdin", "-v", "error", "-i", path.string(), "-f", "f32le", plain.string()}).status,
              0);
    const Bytes bytes = readBytes(plain);
    const auto sound = decode(readBytes(path));
    std::vector<float> expected(sound.size());
    ASSERT_GE(bytes.size(), expected.size() * sizeof(float));
    std::memcpy(expected.data(), bytes.data(), expected.size() * sizeof(float));
    EXPECT_TRUE(sound == expected) << "not what one decoder makes of the whole file";
}

TEST(MPEG4Codec, SubstitutesTheSameNoiseInEveryDecode)
{
    MediaSpec spec = aac({"-b:a", "48k", "-aac_pns", "1"});
    spec.signal = Signal::Noise;
    spec.frames = 3 * 64 * 1024;
    const Bytes bytes = readBytes(make(spec));
    auto opened = openBytes(openMPEG4, bytes);
    ASSERT_TRUE(opened);
    const auto straight = readToEnd(**opened);
    EXPECT_EQ(decode(bytes), straight);
    for (const int64_t packet : {130, 129, 128, 127, 65, 64, 63, 1}) {
        const int64_t target = packet * 1024 - kPriming;
        ASSERT_EQ((*opened)->seek(target), noErr);
        const auto part = readFrames(**opened, 4096, 1000);
        EXPECT_TRUE(std::equal(part.begin(), part.end(), straight.begin() + 2 * target)) << "packet " << packet;
    }
}

TEST(MPEG4Codec, TakesAnEditThatCutsTheFileAtItsWord)
{
    for (const MediaSpec &spec : {aac(), alac(16)}) {
        const Bytes bytes = readBytes(make(spec));
        const auto whole = decode(withoutEdits(bytes));
        const auto part = decode(withEdit(bytes, 500, 9000)); // half a second
        ASSERT_EQ(part.size(), 22050U * 2);
        EXPECT_TRUE(std::equal(part.begin(), part.end(), whole.begin() + 9000L * 2));
    }
}

TEST(MPEG4Codec, TakesAnEditThatIsOnlyRoundedForTheWholeFile)
{
    const Bytes bytes = readBytes(make(aac()));
    const auto exact = static_cast<uint32_t>(kLength * 1000 / 44100);
    for (const uint32_t duration : {0U, exact, exact + 1, exact + 5000, 0xFFFFFFFFU})
        EXPECT_EQ(decode(withEdit(bytes, duration, kPriming)).size(), kLength * 2U) << duration << " ms";
    EXPECT_EQ(decode(withEdit(bytes, exact, 0x7FFFFFFF)).size(), 0U);
}

TEST(MPEG4Codec, TrimsByTheGaplessTagWhereThereIsNoEdit)
{
    const Bytes plain = withoutEdits(readBytes(make(aac())));
    const auto whole = decode(plain);
    EXPECT_EQ(whole.size(), static_cast<std::size_t>(kLength + kPriming) * 2);
    const auto part = decode(withTag(plain, "iTunSMPB", " 00000000 00000840 0000001C 0000000000007531 00000000"));
    ASSERT_EQ(part.size(), 0x7531U * 2);
    EXPECT_TRUE(std::equal(part.begin(), part.end(), whole.begin() + 0x840L * 2));
    EXPECT_EQ(decode(withTag(plain, "iTunSMPB", " 00000000 00000840")), whole) << "an unfinished tag";
    EXPECT_EQ(decode(withTag(plain, "iTunSMPB", " 0 FFFFFFFF 0 00000000FFFFFFFF")).size(), 0U);
    EXPECT_EQ(decode(withTag(readBytes(make(aac())), "iTunSMPB", " 00000000 00000840 0 0000000000000010")).size(),
              kLength * 2U)
        << "the edit list comes first";
}

TEST(MPEG4Codec, PlaysWhatIsThereOfACutFile)
{
    for (const MediaSpec &spec : {aac({"-movflags", "faststart"}), alac(24, {"-movflags", "faststart"})}) {
        const Bytes bytes = readBytes(make(spec));
        const auto whole = decode(bytes);
        const auto part = decode({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() * 2 / 3)});
        EXPECT_LT(part.size(), whole.size() * 3 / 4);
        EXPECT_GT(part.size(), whole.size() / 2);
        EXPECT_TRUE(std::equal(part.begin(), part.end(), whole.begin()));
    }
}

TEST(MPEG4Codec, RefusesOtherCodecs)
{
    const Bytes mp3InMp4 = readBytes(make(aac({"-c:a", "libmp3lame", "-f", "mp4"})));
    EXPECT_EQ(openBytes(openMPEG4, mp3InMp4).status(), kAudioFileUnsupportedDataFormatError);
}

TEST(MPEG4Codec, RefusesCountsThatTheFileCannotHold)
{
    const Bytes bytes = readBytes(make(aac()));
    const std::size_t sizes = bodyOf(bytes, "stsz");
    for (const uint32_t count : {0x100000U, 0x0FFFFFFFU, 0xFFFFFFFFU}) {
        Bytes table = bytes;
        putNumber(table, sizes + 8, count);
        EXPECT_EQ(openBytes(openMPEG4, table).status(), kAudioFileInvalidFileError) << count << " sizes";
        putNumber(table, sizes + 4, 1);
        EXPECT_EQ(openBytes(openMPEG4, table).status(), kAudioFileInvalidFileError) << count << " of one size";
    }
    for (const std::string_view type : {"stco", "stsc", "stts"}) {
        Bytes table = bytes;
        putNumber(table, bodyOf(table, type) + 4, 0x10000000U);
        EXPECT_EQ(openBytes(openMPEG4, table).status(), kAudioFileInvalidFileError) << type;
    }
    Bytes lossless = readBytes(make(alac(16)));
    putNumber(lossless, bodyOf(lossless, "stsd") + 8 + 36 + 12, 4096 * 4096); // the frames of a packet
    EXPECT_EQ(openBytes(openMPEG4, lossless).status(), kAudioFileUnsupportedDataFormatError);
}

TEST(MPEG4Codec, StaysHonestOnBrokenFiles)
{
    MediaSpec whole = aac();
    MediaSpec fragmented = aac({"-movflags", "frag_keyframe+empty_moov", "-frag_duration", "50000"});
    MediaSpec lossless = alac(16);
    for (MediaSpec *spec : {&whole, &fragmented, &lossless}) {
        spec->frames = 9000;
        const Bytes bytes = readBytes(make(*spec));
        const auto check = [](const Bytes &broken, const std::string &what) {
            expectHonestDecoder(openMPEG4, broken, what);
        };
        forEachCut(bytes, 100, 23, check);
        forEachFlip(bytes, bytes.size(), 200, check);
        const auto moov = static_cast<std::ptrdiff_t>(bodyOf(bytes, "moov")) - 8;
        const Bytes header(bytes.begin() + moov, bytes.end());
        forEachFlip(header, header.size(), 400, [&](const Bytes &broken, const std::string &what) {
            check(joined({{bytes.begin(), bytes.begin() + moov}, broken}), "header, " + what);
        });
    }
}

TEST(MPEG4Codec, PrintsNothingAboutBrokenFiles)
{
    const Bytes bytes = readBytes(make(aac()));
    testing::internal::CaptureStderr();
    forEachFlip(bytes, bytes.size(), 50,
                [](const Bytes &broken, const std::string &what) { expectHonestDecoder(openMPEG4, broken, what); });
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace kx::test
