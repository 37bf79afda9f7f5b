#include "KXFW/Platform/AudioFiles/AudioFile.h"
#include "Tests/AudioFiles/FileTestSupport.h"
#include "Tests/Support/Media.h"

namespace kx::test
{
namespace
{

struct StoredCase {
    MediaSpec spec;
    uint64_t bytes;
    uint64_t packets;
};

TEST(AudioFile, TellsTheBytesAndPacketsOfItsData)
{
    for (const StoredCase &c :
         {StoredCase{{.frames = 1000}, 4000, 1000}, StoredCase{{.channels = 3, .frames = 7, .bits = 24}, 63, 7},
          StoredCase{{.codec = Codec::AIFF, .channels = 1, .frames = 11}, 22, 11}, StoredCase{{.frames = 0}, 0, 0}}) {
        AudioFileID file = nullptr;
        ASSERT_EQ(AudioFileOpenURL(make(c.spec), &file), noErr);
        for (const auto &[property, expected] : {std::pair{kAudioFilePropertyAudioDataByteCount, c.bytes},
                                                 std::pair{kAudioFilePropertyAudioDataPacketCount, c.packets}}) {
            uint64_t value = 99;
            uint32_t size = 7;
            EXPECT_EQ(AudioFileGetProperty(file, property, &size, &value), kExtAudioFileError_InvalidPropertySize);
            size = 8;
            EXPECT_EQ(AudioFileGetProperty(file, property, &size, &value), noErr);
            EXPECT_EQ(value, expected);
        }
        EXPECT_EQ(AudioFileClose(file), noErr);
    }
}

} // namespace
} // namespace kx::test
