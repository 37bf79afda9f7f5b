#include "Tests/kxtool/Kxtool.h"

#include <gtest/gtest.h>

namespace kx::test
{
namespace
{

#ifndef KX_SANITIZED // a sanitizer's own calls come first

namespace fs = std::filesystem;

/// A folder with a file to read and an old file to replace, and kxtool that works there while the system fails.
class Faults : public testing::Test
{
protected:
    struct Story {
        std::string command;
        Codec codec;
    };

    /// What kxtool writes of `codec` where nothing fails.
    void prepare(const Story &story)
    {
        fs::create_directory(folder);
        input = folder / "input";
        output = folder / "output";
        const bool isOpus = story.codec == Codec::Opus;
        fs::copy_file(make({.codec = story.codec, .rate = isOpus ? 48000U : 44100U, .frames = 30000}), input);
        ASSERT_EQ(kxtool({story.command, input, output}).status, 0);
        whole = readBytes(output);
    }

    /// One run while `fault` strikes at the call `from`: it writes all, or it fails, says so in a line that names the
    /// file, and leaves the old file and nothing else. True if it wrote all.
    bool holds(const Story &story, const std::string &fault, int from)
    {
        writeBytes(output, old);
        const ToolResult result =
            runTool({"timeout", "-s", "KILL", "30", "env", "KXFW_AUDIO_BACKEND=virtual", "LD_PRELOAD=" KX_FAULTY_SYSTEM,
                     "KX_FAULT=" + fault, "KX_FAULT_FROM=" + std::to_string(from), "KX_FAULT_IN=" + folder.string(),
                     KXTOOL_PATH, story.command, input, output});
        const auto where = story.command + " of codec " + std::to_string(int(story.codec)) + ", " + fault + " from " +
                           std::to_string(from) + ": " + std::to_string(result.status) + " " + result.errors;
        EXPECT_TRUE(result.status == 0 || result.status == 1) << where;
        EXPECT_TRUE(readBytes(output) == (result.status == 0 ? whole : old)) << where;
        EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 2) << where;
        const std::size_t told = result.errors.find("kxtool: "); // the log may have told of it before
        EXPECT_TRUE(result.status == 0 || (told < result.errors.size() && isOneLine(result.errors.substr(told))))
            << where;
        return result.status == 0;
    }

    const fs::path folder = temporaryPath("faults");
    fs::path input;
    fs::path output;
    const std::vector<uint8_t> old{1, 2, 3};
    std::vector<uint8_t> whole;
};

/// Failures that a program has to bear: no run differs from a quiet one.
TEST_F(Faults, ShortAndInterruptedCallsChangeNothing)
{
    for (const Codec codec : {Codec::WAV, Codec::FLAC, Codec::Vorbis, Codec::Opus, Codec::MP3, Codec::AAC}) {
        fs::remove_all(folder);
        const Story story{"export", codec};
        prepare(story);
        for (const int from : {1, 6})
            for (const char *fault : {"short", "short-write", "eintr"})
                EXPECT_TRUE(holds(story, fault, from));
    }
}

TEST_F(Faults, NothingIsHalfWrittenWhateverFailsAtWhateverCall)
{
    const std::pair<const char *, bool> faults[] = {{"read", true},    {"full", true},        {"sync", false},
                                                    {"thread", false}, {"descriptors", true}, {"memory", false}};
    for (const Story &story : {Story{"export", Codec::WAV},
                               {"export", Codec::FLAC},
                               {"decode", Codec::Vorbis},
                               {"decode", Codec::MP3},
                               {"export", Codec::AAC}}) {
        fs::remove_all(folder);
        prepare(story);
        for (const auto &[fault, strikes] : faults) {
            if (story.codec == Codec::AAC && fault == std::string("memory"))
                continue; // libraries of the module end the program when they find none while they are loaded
            int failed = 0;
            for (const int from : {1, 2, 3, 5, 8, 13, 21, 55, 144})
                failed += holds(story, fault, from) ? 0 : 1;
            EXPECT_TRUE(failed > 0 || !strikes) << fault << " never struck " << story.command;
        }
    }
}
#endif

} // namespace
} // namespace kx::test
