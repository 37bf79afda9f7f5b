/// What every decoder promises: the length announced is the length delivered, a seek lands on the very frame of the
/// straight decode, and faults of the file come out as what they are.
#include "FileTestSupport.h"
#include "KXFW/Platform/Foundation/CodeText.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace kx::test
{

namespace
{

struct ContractCase {
    const char *name;
    OpenDecoder open;
    Media media;
    bool statesLength; ///< the file says how much of the encoder's sound is the source
};

std::ostream &operator<<(std::ostream &out, const ContractCase &value)
{
    return out << value.name;
}

constexpr int64_t kContractLength = 100003; // a number that divides nothing

Media mediaOf(Codec codec, std::vector<std::string> options = {}, uint32_t bits = 16, uint32_t channels = 2,
              uint32_t rate = 44100)
{
    if (codec == Codec::AAC || codec == Codec::ALAC)
        options.insert(options.end(), {"-movflags", "+faststart"});
    return {codec, rate, channels, kContractLength, bits, false, Signal::Sines, 1, std::move(options)};
}

/// Whether a codec keeps samples as they are.
bool isLossless(Codec codec)
{
    return codec <= Codec::OggFLAC || codec == Codec::ALAC;
}

/// The mean square of what `sound`, moved by `shift` samples, differs from `source` by.
double difference(const std::vector<float> &sound, const std::vector<float> &source, std::size_t shift)
{
    double sum = 0;
    const std::size_t count = std::min(sound.size(), source.size()) - shift;
    for (std::size_t i = 0; i < count; ++i)
        sum += std::pow(sound[i + shift] - source[i], 2);
    return sum / static_cast<double>(count);
}

const ContractCase kContractCases[] = {
    {"Wav8", openPCMContainer, mediaOf(Codec::WAV, {}, 8), true},
    {"Wav16Mono", openPCMContainer, mediaOf(Codec::WAV, {}, 16, 1), true},
    {"Wav32SixChannels", openPCMContainer, mediaOf(Codec::WAV, {}, 32, 6), true},
    {"Aiff24", openPCMContainer, mediaOf(Codec::AIFF, {}, 24), true},
    {"Flac16", openFLAC, mediaOf(Codec::FLAC), true},
    {"Flac24", openFLAC, mediaOf(Codec::FLAC, {}, 24), true},
    {"FlacInOgg", openOgg, mediaOf(Codec::OggFLAC), true},
    {"FlacInOgg24", openOgg, mediaOf(Codec::OggFLAC, {}, 24), true},
    {"VorbisMono", openOgg, mediaOf(Codec::Vorbis, {}, 16, 1), true},
    {"VorbisSixChannels", openOgg, mediaOf(Codec::Vorbis, {}, 16, 6), true},
    {"Opus", openOgg, mediaOf(Codec::Opus, {}, 16, 2, 48000), true},
    {"OpusSixChannels", openOgg, mediaOf(Codec::Opus, {"-b:a", "384k"}, 16, 6, 48000), true},
    {"OpusSpeechMono", openOgg, mediaOf(Codec::Opus, {"-b:a", "12k", "-application", "voip"}, 16, 1, 48000), false},
    {"Mp3Constant128", openMPEGAudio, mediaOf(Codec::MP3, {"-b", "128"}), true},
    {"Mp3Constant32Mono", openMPEGAudio, mediaOf(Codec::MP3, {"-b", "32", "--resample", "44.1"}, 16, 1, 44100), false},
    {"Mp3Variable", openMPEGAudio, mediaOf(Codec::MP3, {"-V", "2"}), true},
    {"Mp3Checksums", openMPEGAudio, mediaOf(Codec::MP3, {"-V", "5", "-p", "--resample", "44.1"}), true},
    {"Mp3ConstantUntagged", openMPEGAudio, mediaOf(Codec::MP3, {"-b", "128", "-t"}), false},
    {"Mp3VariableUntagged", openMPEGAudio, mediaOf(Codec::MP3, {"-V", "2", "-t"}), false},
    {"Mp3Rate8000Mono", openMPEGAudio, mediaOf(Codec::MP3, {"-b", "8", "--resample", "8"}, 16, 1, 8000), false},
    {"Mp3Rate22050Tagged", openMPEGAudio, mediaOf(Codec::MP3, {"-b", "64", "--resample", "22.05"}, 16, 2, 22050), true},
    {"Mp2", openMPEGAudio, mediaOf(Codec::MP2), false},
    {"AacWithNoiseSubstitution", openMPEG4, mediaOf(Codec::AAC, {"-b:a", "64k", "-aac_pns", "1"}), true},
    {"AacWithoutNoiseSubstitution", openMPEG4, mediaOf(Codec::AAC, {"-b:a", "128k", "-aac_pns", "0"}), true},
    {"AacFragmented", openMPEG4,
     mediaOf(Codec::AAC, {"-movflags", "frag_keyframe+empty_moov", "-frag_duration", "300000"}), false},
    {"AacSixChannels", openMPEG4, mediaOf(Codec::AAC, {"-b:a", "256k"}, 16, 6), true},
    {"Alac16", openMPEG4, mediaOf(Codec::ALAC, {}), true},
    {"Alac24", openMPEG4, mediaOf(Codec::ALAC, {}, 24), true},
};

class DecoderContract : public testing::TestWithParam<ContractCase>
{
protected:
    void SetUp() override { open(GetParam().media); }

    void open(const Media &media)
    {
        source_ = std::make_shared<MemorySource>(readBytes(make(media)));
        auto opened = GetParam().open(source_);
        ASSERT_TRUE(opened) << opened.status();
        decoder_ = std::move(*opened);
        channels_ = decoder_->format().channels;
        length_ = decoder_->format().frames;
    }

    /// A file that no codec holds in its buffers whole.
    static Media longMedia()
    {
        Media media = GetParam().media;
        media.frames *= 4;
        return media;
    }

    static Bytes briefFile()
    {
        Media media = GetParam().media;
        media.frames = 9000;
        return readBytes(make(media));
    }

    std::shared_ptr<MemorySource> source_;
    std::unique_ptr<Decoder> decoder_;
    std::size_t channels_ = 0;
    int64_t length_ = 0;
};

TEST_P(DecoderContract, DescribesTheFileAndGivesItsSoundInItsPlaceBitForBitWhereNothingIsLost)
{
    const auto &[name, openIt, media, statesLength] = GetParam();
    const DecodedFormat &format = decoder_->format();
    EXPECT_EQ(std::pair(format.channels, format.rate), std::pair(media.channels, static_cast<double>(media.rate)));
    EXPECT_EQ(format.kind == SampleKind::Int16, isLossless(media.codec) && media.bits <= 16);
    EXPECT_LE(std::abs(format.frames - media.frames), statesLength ? 0 : 4 * 1152);
    EXPECT_EQ(recognisesMPEGAudio(*source_), openIt == openMPEGAudio);
    EXPECT_EQ(recognisesMPEG4(*source_), openIt == openMPEG4);
    const auto source = floatSamples(media);
    const auto sound = readToEnd(*decoder_);
    ASSERT_EQ(sound.size(), static_cast<std::size_t>(length_) * channels_);
    if (isLossless(media.codec)) {
        EXPECT_TRUE(sound == source);
    } else if (statesLength) {
        const double error = difference(sound, source, 0);
        EXPECT_LT(error, 0.02);
        EXPECT_LT(error, difference(sound, source, channels_)) << "a frame later fits better";
        EXPECT_LT(error, difference(source, sound, channels_)) << "a frame earlier fits better";
    }
}

TEST_P(DecoderContract, IsListedUnderTheSuffixAndTheEncodingOfTheFile)
{
    const std::string suffix = make(GetParam().media).extension().string().substr(1);
    const FourCharCode encoding = decoder_->format().file.mFormatID;
    const auto codec = std::ranges::find(codecTable(), GetParam().open, &CodecEntry::open);
    ASSERT_NE(codec, codecTable().end());
    EXPECT_TRUE(std::ranges::any_of(codec->formats,
                                    [&](const FileFormat &format) {
                                        return std::ranges::find(format.suffixes, suffix) != format.suffixes.end() &&
                                               std::ranges::find(format.encodings, encoding,
                                                                 &SoundEncoding::formatID) != format.encodings.end();
                                    }))
        << suffix << ", " << codeText(encoding);
}

TEST_P(DecoderContract, ReadsInBlocksOfAnySizeAndSeeksToAnyFrameOfTheStraightDecodeAndNoFurther)
{
    const auto straight = readToEnd(*decoder_);
    float sound[64];
    EXPECT_EQ(*decoder_->read(sound, 1), 0U) << "past the end";
    for (const uint32_t block : {1U, 37U, 1152U, 5000U}) {
        ASSERT_EQ(decoder_->seek(0), noErr);
        EXPECT_TRUE(readToEnd(*decoder_, block) == straight) << "block " << block;
    }
    std::mt19937 random(7);
    for (int i = 0; i < 100; ++i) {
        const int64_t target = i == 0 ? length_ : std::uniform_int_distribution<int64_t>(0, length_)(random);
        const int64_t count = std::min<int64_t>(length_ - target, 3000);
        ASSERT_EQ(decoder_->seek(target), noErr);
        const auto part = readFrames(*decoder_, count, 777);
        ASSERT_EQ(part.size(), static_cast<std::size_t>(count) * channels_) << "target " << target;
        ASSERT_TRUE(std::equal(part.begin(), part.end(), straight.begin() + target * static_cast<int64_t>(channels_)))
            << "target " << target;
    }
    ASSERT_EQ(decoder_->seek(length_ - 1), noErr);
    for (const int64_t beyond : {length_ + 1, int64_t{-1}, INT64_MIN, INT64_MAX})
        EXPECT_EQ(decoder_->seek(beyond), kExtAudioFileError_InvalidSeek) << beyond;
    EXPECT_EQ(*decoder_->read(sound, 2), 1U) << "a refused seek leaves the position as it was";
}

TEST_P(DecoderContract, GivesTheErrorOfTheDiskAndEndsWithoutOneWhereTheFileIsCutUnderIt)
{
    const int64_t size = source_->size();
    for (const int64_t offset : {int64_t{0}, int64_t{10}, int64_t{50}, size / 100, size / 2}) {
        const auto failing = std::make_shared<MemorySource>(readBytes(make(GetParam().media)));
        failing->failFrom(offset, kAudioFileReadError);
        const auto opened = GetParam().open(failing);
        EXPECT_TRUE(failing->error() == noErr || opened.status() == kAudioFileReadError) << "offset " << offset;
    }
    for (const OSStatus expected : {OSStatus{kAudioFileReadError}, OSStatus{noErr}}) {
        open(longMedia());
        if (expected == noErr)
            source_->truncate(source_->size() / 2);
        else
            source_->failFrom(source_->size() / 2, expected);
        OSStatus status = noErr;
        EXPECT_LT(readToEnd(*decoder_, 1000, &status).size(), static_cast<std::size_t>(length_) * channels_);
        EXPECT_EQ(status, expected);
        EXPECT_TRUE(decoder_->seek(length_ - 1) == noErr || expected != noErr);
        EXPECT_TRUE(readToEnd(*decoder_).empty());
    }
    if (GetParam().open == openMPEGAudio || GetParam().open == openMPEG4) { // these fetch a frame at a time
        open(longMedia());
        source_->failFrom(source_->size() / 2, kAudioFileReadError);
        EXPECT_FALSE(readToEnd(*decoder_, 1'000'000).empty()) << "what lies in front of the fault is good";
    }
}

TEST_P(DecoderContract, PlaysAFileThatWasCutAsFarAsItIsWhole)
{
    const auto whole = readToEnd(*decoder_);
    const Bytes bytes = readBytes(make(GetParam().media));
    std::size_t longest = 0;
    for (std::size_t cut = 1; cut <= 40; ++cut) {
        SCOPED_TRACE(cut);
        auto opened = openBytes(GetParam().open, part(bytes, 0, cut < 40 ? bytes.size() * cut / 40 : bytes.size() - 1));
        ASSERT_TRUE(opened || cut < 13) << opened.status(); // headers
        const auto sound = opened ? readToEnd(**opened) : std::vector<float>();
        EXPECT_NEAR(static_cast<double>(sound.size()) / static_cast<double>(whole.size()),
                    static_cast<double>(cut) / 40, 0.25);
        EXPECT_GE(sound.size(), longest);
        ASSERT_TRUE(std::equal(sound.begin(), sound.end(), whole.begin(), whole.begin() + sound.size()));
        longest = sound.size();
    }
    EXPECT_GT(longest, whole.size() * 9 / 10);
}

TEST_P(DecoderContract, PlaysWhatIsWholeAroundDamage)
{
    if (GetParam().open == openMPEG4)
        GTEST_SKIP() << "its index tells nothing of what is between";
    const Bytes bytes = readBytes(make(longMedia()));
    const auto whole = decoded(GetParam().open, bytes);
    for (const Bytes &behind : {Bytes(5000, 0), bytesOf("TAG") + Bytes(125, ' '), Bytes(700, 'O')})
        EXPECT_TRUE(decoded(GetParam().open, bytes + behind) == whole) << behind.size() << " bytes behind";
    Bytes damaged = bytes;
    std::fill_n(damaged.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2), 300, uint8_t{0x55});
    const auto sound = decoded(GetParam().open, damaged);
    ASSERT_GT(sound.size(), whole.size() * 8 / 10);
    EXPECT_TRUE(std::equal(whole.begin(), whole.begin() + whole.size() * 2 / 5, sound.begin()));
    const auto late = whole.begin() + whole.size() * 4 / 5;
    const auto isNear = [](float a, float b) { return std::abs(a - b) < 0.02F; }; // Opus takes its time to forget
    EXPECT_NE(std::search(sound.begin(), sound.end(), late, late + 2000, isNear), sound.end()) << "silent behind it";
}

TEST_P(DecoderContract, SurvivesDamageInSilenceAndKeepsItsWord)
{
    expectToSurvive(GetParam().open, briefFile());
}

TEST_P(DecoderContract, SoundsAsTheBytesSayWhateverTheHeapHolds)
{
    expectSoundOfTheBytesAlone(briefFile(), 80);
}

INSTANTIATE_TEST_SUITE_P(Codecs, DecoderContract, testing::ValuesIn(kContractCases),
                         [](const testing::TestParamInfo<ContractCase> &row) { return row.param.name; });

} // namespace
} // namespace kx::test
