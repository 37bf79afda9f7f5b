#include "FileTestSupport.h"
#include "KXFW/Platform/AudioFiles/FileReader.h"
#include "KXFW/Platform/AudioFiles/OpeningSource.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/MemorySource.h"

#include <gtest/gtest.h>

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

} // namespace
} // namespace kx::test
