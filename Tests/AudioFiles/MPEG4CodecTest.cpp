#include "FileTestSupport.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/MemorySource.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace kx::test
{

namespace
{

constexpr int64_t kSourceFrames = 50021;
constexpr int64_t kPriming = 1024; ///< frames that the encoder puts in front

Bytes m4a(Codec codec = Codec::AAC, std::vector<std::string> options = {})
{
    return readBytes(make({.codec = codec, .frames = kSourceFrames, .options = std::move(options)}));
}

std::vector<float> decodedMPEG4(const Bytes &bytes)
{
    auto opened = openBytes(openMPEG4, bytes);
    EXPECT_TRUE(opened) << opened.status();
    return opened ? readToEnd(**opened) : std::vector<float>();
}

/// Whether `part` is `whole` from this frame on, as far as it goes.
bool isPartFrom(int64_t frame, const std::vector<float> &part, const std::vector<float> &whole)
{
    return std::equal(part.begin(), part.end(), whole.begin() + 2 * frame);
}

/// Where the contents of the first box of this type begin.
std::size_t bodyOf(const Bytes &bytes, std::string_view type)
{
    const auto found = std::search(bytes.begin(), bytes.end(), type.begin(), type.end());
    EXPECT_NE(found, bytes.end()) << type;
    return static_cast<std::size_t>(found - bytes.begin()) + 4;
}

Bytes withNumber(Bytes bytes, std::size_t offset, uint32_t value)
{
    putBig(bytes, offset, value, 4);
    return bytes;
}

/// The file without its edit list.
Bytes withoutEdits(const Bytes &bytes)
{
    return withNumber(bytes, bodyOf(bytes, "edts") - 4, fourCharCode("free"));
}

/// The file with this edit: duration in milliseconds, start in frames.
Bytes withEdit(const Bytes &bytes, uint32_t duration, uint32_t start)
{
    const std::size_t body = bodyOf(bytes, "elst");
    return withNumber(withNumber(bytes, body + 8, duration), body + 12, start);
}

/// The file, whose 'moov' box comes last, with a gapless tag in it.
Bytes withGaplessTag(const Bytes &bytes, std::string_view value)
{
    Bytes handler(24);
    std::copy_n("mdirappl", 8, handler.begin() + 8);
    const Bytes item = box("mean", Bytes(4) + bytesOf("com.apple.iTunes")) +
                       box("name", Bytes(4) + bytesOf("iTunSMPB")) +
                       box("data", Bytes{0, 0, 0, 1, 0, 0, 0, 0} + bytesOf(value));
    const Bytes list = box("ilst", box("----", item));
    const Bytes tag = box("udta", box("meta", Bytes(4) + box("hdlr", handler) + list));
    const std::size_t moov = bodyOf(bytes, "moov") - 8;
    return withNumber(bytes + tag, moov, static_cast<uint32_t>(bytes.size() - moov + tag.size()));
}

TEST(MPEG4Codec, LetsNobodyHearTheSegments)
{
    const auto path = make({.codec = Codec::AAC, .frames = 4 * 64 * 1024, .options = {"-b:a", "96k", "-aac_pns", "0"}});
    const auto plain = temporaryPath("plain.f32");
    ASSERT_EQ(runTool({"ffmpeg", "-nostdin", "-v", "error", "-i", path.string(), "-f", "f32le", plain.string()}).status,
              0);
    auto expected = samplesOf<float>(readBytes(plain));
    const auto sound = decodedMPEG4(readBytes(path));
    ASSERT_GE(expected.size(), sound.size());
    expected.resize(sound.size());
    EXPECT_TRUE(sound == expected) << "not what one decoder makes of the whole file";
}

TEST(MPEG4Codec, FindsTheSamePacketsHoweverTheyAreFiled)
{
    const std::string picture = "testsrc=duration=1:size=64x64:rate=25";
    const std::vector<std::string> ways[] = {
        {"-map", "0:a", "-f", "mov"},
        {"-map", "0:a", "-f", "ipod", "-movflags", "+faststart"},
        {"-map", "0:a", "-movflags", "frag_keyframe+empty_moov", "-frag_duration", "200000"},
        {"-map", "0:a", "-movflags", "frag_keyframe", "-frag_duration", "200000"}, // the first packets in tables
        {"-map", "0:a", "-movflags", "frag_every_frame+omit_tfhd_offset"},
        {"-map", "0:a", "-movflags", "cmaf", "-frag_duration", "200000"},
        {"-map", "1:v", "-map", "0:a", "-movflags", "omit_tfhd_offset", "-frag_duration", "200000", "-c:v", "mpeg4"},
        {"-map", "1:v", "-map", "0:a", "-c:v", "mpeg4"},
    };
    for (const Codec codec : {Codec::AAC, Codec::ALAC}) {
        const auto path = make({.codec = codec, .frames = kSourceFrames});
        const auto expected = decodedMPEG4(withoutEdits(readBytes(path)));
        for (const auto &options : ways) {
            const std::string what = testing::PrintToString(options);
            const auto copy = temporaryPath("copy.mp4");
            std::vector<std::string> command{"ffmpeg", "-nostdin", "-v", "error", "-i",   path.string(),
                                             "-f",     "lavfi",    "-i", picture, "-c:a", "copy"};
            command.insert(command.end(), options.begin(), options.end());
            command.push_back(copy.string());
            ASSERT_EQ(runTool(command).status, 0) << what;
            const auto sound = decodedMPEG4(readBytes(copy));
            EXPECT_GE(sound.size(), (kSourceFrames - 44) * 2U) << what; // an edit's duration is in milliseconds
            const int64_t skip = static_cast<int64_t>(sound.size()) > kSourceFrames * 2 ? 0 : kPriming;
            EXPECT_TRUE(isPartFrom(codec == Codec::AAC ? skip : 0, sound, expected)) << what;
        }
    }
}

TEST(MPEG4Codec, TakesAnEditThatCutsTheFileAtItsWordAndARoundedOneForTheWhole)
{
    for (const Codec codec : {Codec::AAC, Codec::ALAC}) {
        const Bytes bytes = m4a(codec);
        const auto part = decodedMPEG4(withEdit(bytes, 500, 9000)); // half a second
        EXPECT_EQ(part.size(), 22050U * 2);
        EXPECT_TRUE(isPartFrom(9000, part, decodedMPEG4(withoutEdits(bytes))));
    }
    const Bytes bytes = m4a();
    const auto exact = static_cast<uint32_t>(kSourceFrames * 1000 / 44100);
    for (const uint32_t duration : {0U, exact, exact + 1, exact + 5000, 0xFFFFFFFFU})
        EXPECT_EQ(decodedMPEG4(withEdit(bytes, duration, kPriming)).size(), kSourceFrames * 2U) << duration << " ms";
    EXPECT_EQ(decodedMPEG4(withEdit(bytes, exact, 0x7FFFFFFF)).size(), 0U);
}

TEST(MPEG4Codec, TrimsByTheGaplessTagWhereThereIsNoEdit)
{
    const Bytes plain = withoutEdits(m4a());
    const auto whole = decodedMPEG4(plain);
    EXPECT_EQ(whole.size(), static_cast<std::size_t>(kSourceFrames + kPriming) * 2);
    const auto part = decodedMPEG4(withGaplessTag(plain, " 00000000 00000840 0000001C 0000000000007531 00000000"));
    EXPECT_EQ(part.size(), 0x7531U * 2);
    EXPECT_TRUE(isPartFrom(0x840, part, whole));
    EXPECT_EQ(decodedMPEG4(withGaplessTag(plain, " 00000000 00000840")), whole) << "an unfinished tag";
    EXPECT_EQ(decodedMPEG4(withGaplessTag(plain, " 0 FFFFFFFF 0 00000000FFFFFFFF")).size(), 0U);
    EXPECT_EQ(decodedMPEG4(withGaplessTag(m4a(), " 00000000 00000840 0 0000000000000010")).size(), kSourceFrames * 2U)
        << "the edit list comes first";
}

TEST(MPEG4Codec, RefusesOtherCodecsAndCountsThatTheFileCannotHold)
{
    const auto status = [](const Bytes &bytes) { return openBytes(openMPEG4, bytes).status(); };
    const Bytes bytes = m4a();
    const std::size_t sizes = bodyOf(bytes, "stsz");
    for (const uint32_t count : {0x100000U, 0x0FFFFFFFU, 0xFFFFFFFFU}) {
        const Bytes table = withNumber(bytes, sizes + 8, count);
        EXPECT_EQ(status(table), kAudioFileInvalidFileError) << count << " sizes";
        EXPECT_EQ(status(withNumber(table, sizes + 4, 1)), kAudioFileInvalidFileError) << count << " of one size";
    }
    for (const std::string_view type : {"stco", "stsc", "stts"})
        EXPECT_EQ(status(withNumber(bytes, bodyOf(bytes, type) + 4, 0x10000000U)), kAudioFileInvalidFileError) << type;
    const Bytes lossless = m4a(Codec::ALAC);
    const std::size_t packetFrames = bodyOf(lossless, "stsd") + 8 + 36 + 12;
    EXPECT_EQ(status(withNumber(lossless, packetFrames, 4096 * 4096)), kAudioFileUnsupportedDataFormatError);
    EXPECT_EQ(status(m4a(Codec::AAC, {"-c:a", "libmp3lame", "-f", "mp4"})), kAudioFileUnsupportedDataFormatError);
}

} // namespace
} // namespace kx::test
