#include "FileTestSupport.h"

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
    return decoded(openMPEG4, bytes);
}

/// Whether `part` is `whole` from this frame on, as far as it goes.
bool isPartFrom(int64_t frame, const std::vector<float> &part, const std::vector<float> &whole)
{
    return std::equal(part.begin(), part.end(), whole.begin() + 2 * frame);
}

/// Where the contents of the first box of this type begin.
std::size_t bodyOf(const Bytes &bytes, std::string_view type)
{
    return placeOf(type, bytes) + 4;
}

/// The file without its edit list.
Bytes withoutEdits(const Bytes &bytes)
{
    return withBig(bytes, placeOf("edts", bytes), fourCharCode("free"), 4);
}

/// The file with this edit: duration in milliseconds, start in frames.
Bytes withEdit(const Bytes &bytes, uint32_t duration, uint32_t start)
{
    const std::size_t body = bodyOf(bytes, "elst");
    return withBig(withBig(bytes, body + 8, duration, 4), body + 12, start, 4);
}

Bytes withGaplessTag(const Bytes &bytes, std::string_view value)
{
    const Bytes handler = Bytes(8) + bytesOf("mdirappl") + Bytes(8);
    const Bytes item = box("mean", Bytes(4) + bytesOf("com.apple.iTunes")) +
                       box("name", Bytes(4) + bytesOf("iTunSMPB")) +
                       box("data", Bytes{0, 0, 0, 1, 0, 0, 0, 0} + bytesOf(value));
    const Bytes list = box("ilst", box("----", item));
    return inMovie(bytes, box("udta", box("meta", Bytes(4) + box("hdlr", handler) + list)));
}

/// Runs ffmpeg from `input` to a new file with this name.
std::filesystem::path converted(const std::filesystem::path &input, const std::vector<std::string> &options,
                                const char *name)
{
    const auto output = temporaryPath(name);
    std::vector<std::string> command{"ffmpeg", "-nostdin", "-v", "error", "-i", input};
    command.insert(command.end(), options.begin(), options.end());
    command.push_back(output);
    EXPECT_EQ(runTool(command).status, 0) << testing::PrintToString(command);
    return output;
}

TEST(MPEG4Codec, LetsNobodyHearTheSegments)
{
    const auto path = make({.codec = Codec::AAC, .frames = 4 * 64 * 1024, .options = {"-b:a", "96k", "-aac_pns", "0"}});
    const auto expected = samplesOf<float>(readBytes(converted(path, {"-f", "f32le"}, "plain.f32")));
    const auto sound = decodedMPEG4(readBytes(path));
    ASSERT_GE(expected.size(), sound.size());
    EXPECT_TRUE(isPartFrom(0, sound, expected)) << "not what one decoder makes of the whole file";
}

TEST(MPEG4Codec, FindsTheSamePacketsHoweverTheyAreFiled)
{
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
        for (const auto &way : ways) {
            SCOPED_TRACE(testing::PrintToString(way));
            std::vector<std::string> options{"-f",   "lavfi", "-i", "testsrc=duration=1:size=64x64:rate=25",
                                             "-c:a", "copy"};
            options.insert(options.end(), way.begin(), way.end());
            const auto sound = decodedMPEG4(readBytes(converted(path, options, "copy.mp4")));
            EXPECT_GE(sound.size(), (kSourceFrames - 44) * 2U); // an edit's duration is in milliseconds
            const bool isPrimed = codec == Codec::AAC && static_cast<int64_t>(sound.size()) <= kSourceFrames * 2;
            EXPECT_TRUE(isPartFrom(isPrimed ? kPriming : 0, sound, expected));
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
    EXPECT_TRUE(decodedMPEG4(withEdit(bytes, exact, 0x7FFFFFFF)).empty());
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
    const auto beyond = openBytes(openMPEG4, withGaplessTag(plain, " 0 FFFFFFFF 0 00000000FFFFFFFF"));
    EXPECT_EQ((*beyond)->format().frames, 0);
    EXPECT_EQ(decodedMPEG4(withGaplessTag(m4a(), " 00000000 00000840 0 0000000000000010")).size(), kSourceFrames * 2U)
        << "the edit list comes first";
}

TEST(MPEG4Codec, RefusesOtherCodecsAndCountsThatTheFileCannotHold)
{
    const auto status = [](const Bytes &bytes) { return openBytes(openMPEG4, bytes).status(); };
    const Bytes bytes = m4a();
    const std::size_t sizes = bodyOf(bytes, "stsz");
    for (const uint32_t count : {0x100000U, 0x0FFFFFFFU, 0xFFFFFFFFU}) {
        const Bytes table = withBig(bytes, sizes + 8, count, 4);
        EXPECT_EQ(status(table), kAudioFileInvalidFileError) << count << " sizes";
        EXPECT_EQ(status(withBig(table, sizes + 4, 1, 4)), kAudioFileInvalidFileError) << count << " of one size";
    }
    for (const std::string_view type : {"stco", "stsc", "stts"})
        EXPECT_EQ(status(withBig(bytes, bodyOf(bytes, type) + 4, 1 << 28, 4)), kAudioFileInvalidFileError) << type;
    const Bytes lossless = m4a(Codec::ALAC);
    const std::size_t packetFrames = bodyOf(lossless, "stsd") + 8 + 36 + 12;
    EXPECT_EQ(status(withBig(lossless, packetFrames, 1 << 24, 4)), kAudioFileUnsupportedDataFormatError);
    EXPECT_EQ(status(m4a(Codec::AAC, {"-c:a", "libmp3lame", "-f", "mp4"})), kAudioFileUnsupportedDataFormatError);
}

} // namespace
} // namespace kx::test
