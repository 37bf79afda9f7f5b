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
    return codec == Codec::WAV || codec == Codec::AIFF || codec == Codec::FLAC || codec == Codec::ALAC;
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
    {"Flac16", openPCMContainer, spec(Codec::FLAC), true},
    {"Flac24", openPCMContainer, spec(Codec::FLAC, {}, 24), true},
    {"Vorbis", openPCMContainer, spec(Codec::Vorbis), true},
    {"VorbisMono", openPCMContainer, spec(Codec::Vorbis, {}, 16, 1), true},
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

TEST_P(DecoderContract, PlaysTheStartOfAFileThatWasCut)
{
    const auto whole = readToEnd(*decoder_);
    Bytes bytes = readBytes(make(GetParam().media));
    bytes.resize(bytes.size() * 2 / 3);
    auto opened = openBytes(GetParam().open, bytes);
    ASSERT_TRUE(opened) << opened.status();
    const auto part = readToEnd(**opened);
    EXPECT_GT(part.size(), whole.size() / 3);
    EXPECT_LT(part.size(), whole.size() * 3 / 4);
    EXPECT_TRUE(std::equal(part.begin(), part.end(), whole.begin()));
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
