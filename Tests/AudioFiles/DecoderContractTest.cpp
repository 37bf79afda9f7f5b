/// What every decoder promises: the length announced is the length delivered, a seek lands on the very frame of the
/// straight decode, and faults of the file come out as what they are.
#include "Tests/Support/HostileBytes.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/MemorySource.h"

#include <gtest/gtest.h>

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
    MediaSpec media;
    bool statesLength; ///< the file says how much of the encoder's sound is the source
};

std::ostream &operator<<(std::ostream &out, const ContractCase &value)
{
    return out << value.name;
}

constexpr int64_t kContractLength = 100003; // a number that divides nothing

MediaSpec spec(Codec codec, std::vector<std::string> options = {}, uint32_t bits = 16, uint32_t channels = 2,
               uint32_t rate = 44100)
{
    if (codec == Codec::AAC || codec == Codec::ALAC)
        options.insert(options.end(), {"-movflags", "+faststart"});
    return {.codec = codec,
            .rate = rate,
            .channels = channels,
            .frames = kContractLength,
            .bits = bits,
            .options = std::move(options)};
}

/// Whether a codec keeps samples as they are.
bool isLossless(Codec codec)
{
    return codec == Codec::WAV || codec == Codec::AIFF || codec == Codec::FLAC || codec == Codec::OggFLAC ||
           codec == Codec::ALAC;
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
    {"Wav8", openPCMContainer, spec(Codec::WAV, {}, 8), true},
    {"Wav16Mono", openPCMContainer, spec(Codec::WAV, {}, 16, 1), true},
    {"Wav32SixChannels", openPCMContainer, spec(Codec::WAV, {}, 32, 6), true},
    {"Aiff24", openPCMContainer, spec(Codec::AIFF, {}, 24), true},
    {"Flac16", openFLAC, spec(Codec::FLAC), true},
    {"Flac24", openFLAC, spec(Codec::FLAC, {}, 24), true},
    {"FlacInOgg", openOgg, spec(Codec::OggFLAC), true},
    {"FlacInOgg24", openOgg, spec(Codec::OggFLAC, {}, 24), true},
    {"VorbisMono", openOgg, spec(Codec::Vorbis, {}, 16, 1), true},
    {"VorbisSixChannels", openOgg, spec(Codec::Vorbis, {}, 16, 6), true},
    {"Opus", openOgg, spec(Codec::Opus, {}, 16, 2, 48000), true},
    {"OpusSixChannels", openOgg, spec(Codec::Opus, {"-b:a", "384k"}, 16, 6, 48000), true},
    {"OpusSpeechMono", openOgg, spec(Codec::Opus, {"-b:a", "12k", "-application", "voip"}, 16, 1, 48000), false},
    {"Mp3Constant128", openMPEGAudio, spec(Codec::MP3, {"-b", "128"}), true},
    {"Mp3Constant32Mono", openMPEGAudio, spec(Codec::MP3, {"-b", "32", "--resample", "44.1"}, 16, 1, 44100), false},
    {"Mp3Variable", openMPEGAudio, spec(Codec::MP3, {"-V", "2"}), true},
    {"Mp3Checksums", openMPEGAudio, spec(Codec::MP3, {"-V", "5", "-p", "--resample", "44.1"}), true},
    {"Mp3ConstantUntagged", openMPEGAudio, spec(Codec::MP3, {"-b", "128", "-t"}), false},
    {"Mp3VariableUntagged", openMPEGAudio, spec(Codec::MP3, {"-V", "2", "-t"}), false},
    {"Mp3Rate8000Mono", openMPEGAudio, spec(Codec::MP3, {"-b", "8", "--resample", "8"}, 16, 1, 8000), false},
    {"Mp3Rate22050Tagged", openMPEGAudio, spec(Codec::MP3, {"-b", "64", "--resample", "22.05"}, 16, 2, 22050), true},
    {"Mp2", openMPEGAudio, spec(Codec::MP2), false},
    {"AacWithNoiseSubstitution", openMPEG4, spec(Codec::AAC, {"-b:a", "64k", "-aac_pns", "1"}), true},
    {"AacWithoutNoiseSubstitution", openMPEG4, spec(Codec::AAC, {"-b:a", "128k", "-aac_pns", "0"}), true},
    {"AacFragmented", openMPEG4,
     spec(Codec::AAC, {"-movflags", "frag_keyframe+empty_moov", "-frag_duration", "300000"}), false},
    {"AacSixChannels", openMPEG4, spec(Codec::AAC, {"-b:a", "256k"}, 16, 6), true},
    {"Alac16", openMPEG4, spec(Codec::ALAC, {}), true},
    {"Alac24", openMPEG4, spec(Codec::ALAC, {}, 24), true},
};

class DecoderContract : public testing::TestWithParam<ContractCase>
{
protected:
    void SetUp() override { open(GetParam().media); }

    void open(const MediaSpec &media)
    {
        source_ = std::make_shared<MemorySource>(readBytes(make(media)));
        auto opened = GetParam().open(source_);
        ASSERT_TRUE(opened) << opened.status();
        decoder_ = std::move(*opened);
        channels_ = decoder_->format().channels;
        length_ = decoder_->format().frames;
    }

    /// A file that no codec holds in its buffers whole.
    void openLong()
    {
        MediaSpec media = GetParam().media;
        media.frames *= 4;
        open(media);
    }

    std::shared_ptr<MemorySource> source_;
    std::unique_ptr<Decoder> decoder_;
    std::size_t channels_ = 0;
    int64_t length_ = 0;
};

TEST_P(DecoderContract, DescribesTheFile)
{
    const DecodedFormat &format = decoder_->format();
    const MediaSpec &media = GetParam().media;
    EXPECT_EQ(format.channels, media.channels);
    EXPECT_EQ(format.rate, media.rate);
    EXPECT_EQ(format.kind == SampleKind::Int16, isLossless(media.codec) && media.bits <= 16);
    const double room = GetParam().statesLength ? 0 : 4 * 1152;
    EXPECT_NEAR(static_cast<double>(format.frames), static_cast<double>(media.frames), room);
    EXPECT_EQ(recognisesMPEGAudio(*source_), GetParam().open == openMPEGAudio);
    EXPECT_EQ(recognisesMPEG4(*source_), GetParam().open == openMPEG4);
}

TEST_P(DecoderContract, GivesTheSoundInItsPlaceAndBitForBitWhereNothingIsLost)
{
    const auto source = floatSamples(GetParam().media);
    const auto sound = readToEnd(*decoder_);
    if (isLossless(GetParam().media.codec)) {
        EXPECT_TRUE(sound == source);
    } else if (GetParam().statesLength) {
        const double error = difference(sound, source, 0);
        EXPECT_LT(error, 0.02);
        EXPECT_LT(error, difference(sound, source, channels_)) << "a frame later fits better";
        EXPECT_LT(error, difference(source, sound, channels_)) << "a frame earlier fits better";
    }
}

TEST_P(DecoderContract, DeliversTheLengthItAnnouncesInBlocksOfAnySize)
{
    const auto straight = readToEnd(*decoder_);
    ASSERT_EQ(straight.size(), static_cast<std::size_t>(length_) * channels_);
    float nothing[64];
    EXPECT_EQ(*decoder_->read(nothing, 1), 0U) << "past the end";
    for (const uint32_t block : {1U, 37U, 1152U, 5000U}) {
        ASSERT_EQ(decoder_->seek(0), noErr);
        EXPECT_TRUE(readToEnd(*decoder_, block) == straight) << "block " << block;
    }
}

TEST_P(DecoderContract, SeeksToTheFrameOfTheStraightDecode)
{
    const auto straight = readToEnd(*decoder_);
    std::mt19937 random(7);
    for (int i = 0; i < 100; ++i) {
        const int64_t target = std::uniform_int_distribution<int64_t>(0, length_)(random);
        const int64_t count = std::min<int64_t>(length_ - target, 3000);
        ASSERT_EQ(decoder_->seek(target), noErr);
        const auto part = readFrames(*decoder_, count, 777);
        const auto begin = straight.begin() + target * static_cast<int64_t>(channels_);
        ASSERT_EQ(part.size(), static_cast<std::size_t>(count) * channels_) << "target " << target;
        const auto [wrong, right] = std::mismatch(part.begin(), part.end(), begin);
        ASSERT_TRUE(wrong == part.end()) << "target " << target << ", sample " << wrong - part.begin() << ": " << *wrong
                                         << " for " << *right;
    }
}

TEST_P(DecoderContract, SeeksToItsLengthAndNoFurther)
{
    float sound[64];
    ASSERT_EQ(decoder_->seek(length_), noErr);
    EXPECT_EQ(*decoder_->read(sound, 1), 0U);
    ASSERT_EQ(decoder_->seek(length_ - 1), noErr);
    for (const int64_t beyond : {length_ + 1, int64_t{-1}, INT64_MIN, INT64_MAX})
        EXPECT_EQ(decoder_->seek(beyond), kExtAudioFileError_InvalidSeek) << beyond;
    EXPECT_EQ(*decoder_->read(sound, 2), 1U) << "a refused seek leaves the position as it was";
}

TEST_P(DecoderContract, GivesTheErrorOfTheDiskWhenOpeningAndWhenReading)
{
    const int64_t size = source_->size();
    for (const int64_t offset : {int64_t{0}, int64_t{10}, int64_t{50}, size / 100, size / 2}) {
        const auto failing = std::make_shared<MemorySource>(readBytes(make(GetParam().media)));
        failing->failFrom(offset, kAudioFileReadError);
        auto opened = GetParam().open(failing);
        if (failing->error() != noErr) {
            EXPECT_EQ(opened.status(), kAudioFileReadError) << "offset " << offset;
        }
    }
    openLong();
    source_->failFrom(source_->size() / 2, kAudioFileReadError);
    OSStatus status = noErr;
    const auto got = readToEnd(*decoder_, 1000, &status);
    EXPECT_EQ(status, kAudioFileReadError);
    EXPECT_LT(got.size(), static_cast<std::size_t>(length_) * channels_);
}

TEST_P(DecoderContract, PlaysAFileThatWasCutAsFarAsItIsWhole)
{
    const auto whole = readToEnd(*decoder_);
    const Bytes bytes = readBytes(make(GetParam().media));
    std::size_t longest = 0;
    for (std::size_t part = 1; part <= 40; ++part) {
        SCOPED_TRACE(part);
        const std::size_t size = part < 40 ? bytes.size() * part / 40 : bytes.size() - 1;
        auto opened = openBytes(GetParam().open, {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)});
        ASSERT_TRUE(opened || part < 13) << opened.status(); // headers
        const auto sound = opened ? readToEnd(**opened) : std::vector<float>();
        EXPECT_LE(std::abs(static_cast<double>(sound.size()) / static_cast<double>(whole.size()) -
                           static_cast<double>(part) / 40),
                  0.25);
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
    openLong();
    const auto whole = readToEnd(*decoder_);
    MediaSpec media = GetParam().media;
    media.frames *= 4;
    const Bytes bytes = readBytes(make(media));
    const auto decoded = [](const Bytes &damaged) {
        auto opened = openBytes(GetParam().open, damaged);
        EXPECT_TRUE(opened);
        return opened ? readToEnd(**opened) : std::vector<float>();
    };
    Bytes tag = {'T', 'A', 'G'};
    tag.resize(128, ' ');
    for (const Bytes &behind : {Bytes(5000, 0), tag, Bytes(700, 'O')}) {
        Bytes longer = bytes;
        longer.insert(longer.end(), behind.begin(), behind.end());
        EXPECT_TRUE(decoded(longer) == whole) << behind.size() << " bytes behind";
    }
    Bytes damaged = bytes;
    std::fill_n(damaged.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2), 300, uint8_t{0x55});
    const auto sound = decoded(damaged);
    ASSERT_GT(sound.size(), whole.size() * 8 / 10);
    EXPECT_TRUE(std::equal(whole.begin(), whole.begin() + whole.size() * 2 / 5, sound.begin()));
    const auto late = whole.begin() + whole.size() * 4 / 5;
    const auto isNear = [](float a, float b) { return std::abs(a - b) < 0.02F; }; // Opus takes its time to forget
    EXPECT_NE(std::search(sound.begin(), sound.end(), late, late + 2000, isNear), sound.end()) << "silent behind it";
}

TEST_P(DecoderContract, EndsEarlyWithoutAnErrorWhenTheFileIsCutUnderIt)
{
    openLong();
    source_->truncate(source_->size() / 2);
    OSStatus status = noErr;
    const auto got = readToEnd(*decoder_, 1000, &status);
    EXPECT_EQ(status, noErr);
    EXPECT_LT(got.size(), static_cast<std::size_t>(length_) * channels_);
    ASSERT_EQ(decoder_->seek(length_ - 1), noErr);
    EXPECT_TRUE(readToEnd(*decoder_).empty());
}

INSTANTIATE_TEST_SUITE_P(Codecs, DecoderContract, testing::ValuesIn(kContractCases),
                         [](const testing::TestParamInfo<ContractCase> &row) { return row.param.name; });

} // namespace
} // namespace kx::test
