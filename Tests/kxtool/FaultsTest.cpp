#include "Tests/kxtool/Kxtool.h"

#include <gtest/gtest.h>
#include <regex>

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
    void prepare(const std::string &command, Codec codec)
    {
        fs::remove_all(folder);
        fs::create_directory(folder);
        fs::copy_file(make({.codec = codec, .rate = codec == Codec::Opus ? 48000U : 44100U, .frames = 30000}), input);
        line = {command, input, output};
        if (command == "format")
            line.insert(line.begin() + 2, "--save");
        ASSERT_EQ(kxtool(line).status, 0);
        whole = readBytes(output);
    }

    /// One run while `fault` strikes at the call `from`: it writes all, or it fails, says so in a line that names the
    /// file, and leaves the old file and nothing else. True if it wrote all.
    bool holds(const std::string &fault, int from)
    {
        SCOPED_TRACE(testing::PrintToString(line) + ", " + fault + " from " + std::to_string(from));
        writeBytes(output, old);
        Line run{"timeout",
                 "-s",
                 "KILL",
                 "30",
                 "env",
                 "KXFW_AUDIO_BACKEND=virtual",
                 "LD_PRELOAD=" KX_FAULTY_SYSTEM,
                 "KX_FAULT=" + fault,
                 "KX_FAULT_FROM=" + std::to_string(from),
                 "KX_FAULT_IN=" + folder.string(),
                 KXTOOL_PATH};
        run.insert(run.end(), line.begin(), line.end());
        const ToolResult result = runTool(run);
        EXPECT_TRUE(result.status == 0 || result.status == 1) << result.status;
        EXPECT_TRUE(readBytes(output) == (result.status == 0 ? whole : old));
        EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 2);
        const std::size_t told = result.errors.find("kxtool: "); // the log may have told of it before
        EXPECT_TRUE(result.status == 0 || (told < result.errors.size() && isOneLine(result.errors.substr(told))))
            << result.errors;
        EXPECT_TRUE(fault != "full" || result.status == 0 || std::regex_search(result.errors, std::regex("full|space")))
            << result.errors;
        return result.status == 0;
    }

    const fs::path folder = temporaryPath("faults");
    const fs::path input = folder / "input";
    const fs::path output = folder / "output";
    const std::vector<uint8_t> old{1, 2, 3};
    Line line;
    std::vector<uint8_t> whole;
};

/// Failures that a program has to bear: no run differs from a quiet one.
TEST_F(Faults, ShortAndInterruptedCallsChangeNothing)
{
    for (const Codec codec : {Codec::WAV, Codec::FLAC, Codec::Vorbis, Codec::Opus, Codec::MP3, Codec::AAC}) {
        prepare(codec == Codec::FLAC ? "decode" : "export", codec);
        for (const int from : {1, 3})
            for (const char *fault : {"short-read", "short-write", "eintr-read", "eintr-write", "eintr-sync"})
                EXPECT_TRUE(holds(fault, from));
    }
}

TEST_F(Faults, NothingIsHalfWrittenWhateverFailsAtWhateverCall)
{
    const std::pair<const char *, bool> faults[] = {{"read", true},   {"full", true},    {"no-write", true},
                                                    {"sync", true},   {"thread", false}, {"descriptors", true},
                                                    {"memory", false}};
    const std::pair<const char *, Codec> stories[] = {{"export", Codec::WAV},    {"export", Codec::FLAC},
                                                      {"decode", Codec::Vorbis}, {"decode", Codec::MP3},
                                                      {"format", Codec::WAV},    {"export", Codec::AAC}};
    for (const auto &[command, codec] : stories) {
        prepare(command, codec);
        for (const auto &[fault, strikes] : faults) {
            if (codec == Codec::AAC && fault == std::string("memory"))
                continue; // libraries of the module end the program when they find none while they are loaded
            int failed = 0;
            for (const int from : {1, 2, 3, 5, 8, 13, 21, 55, 144})
                failed += holds(fault, from) ? 0 : 1;
            EXPECT_TRUE(failed > 0 || !strikes) << fault << " never struck " << command;
        }
    }
}
#endif

} // namespace
} // namespace kx::test
