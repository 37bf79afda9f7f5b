#include "FileTestSupport.h"
#include "Tests/Support/HeapFill.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <ogg/ogg.h>
#include <sndfile.h>

namespace kx::test
{

Bytes OpenFile::read(uint32_t frames)
{
    const uint32_t frameBytes =
        value<AudioStreamBasicDescription>(kExtAudioFileProperty_ClientDataFormat).mBytesPerFrame;
    Bytes bytes(std::size_t{frames} * frameBytes);
    AudioBufferList list{1, {{1, static_cast<uint32_t>(bytes.size()), bytes.data()}}};
    status = ExtAudioFileRead(file, &frames, &list);
    bytes.resize(std::size_t{frames} * frameBytes);
    return bytes;
}

std::vector<float> readOn(FileReader &reader, int64_t most, uint32_t block, OSStatus *status)
{
    const AudioStreamBasicDescription client = reader.client();
    const uint32_t inBuffer = channelsPerBuffer(client);
    BufferList list(bufferCount(client), inBuffer, block * client.mBytesPerFrame);
    std::vector<float> all;
    OSStatus last = noErr;
    for (uint32_t frames = 1; frames > 0 && most > 0; most -= frames) {
        frames = static_cast<uint32_t>(std::min<int64_t>(most, block));
        list.rewind(frames * client.mBytesPerFrame);
        last = reader.read(frames, *list.get());
        for (uint32_t i = 0; i < frames * inBuffer; ++i)
            for (uint32_t b = 0; b < bufferCount(client); ++b)
                all.push_back(reinterpret_cast<const float *>(list.data(b))[i]);
    }
    if (status)
        *status = last;
    return all;
}

std::filesystem::path sndfileOf(int format, int rate, const std::vector<int32_t> &stereo)
{
    const auto path = temporaryPath("container");
    SF_INFO info = {};
    info.samplerate = rate;
    info.channels = 2;
    info.format = format;
    SNDFILE *file = sf_open(path.c_str(), SFM_WRITE, &info);
    EXPECT_NE(file, nullptr) << std::hex << format;
    sf_command(file, SFC_SET_SCALE_INT_FLOAT_WRITE, nullptr, SF_TRUE);
    sf_write_int(file, stereo.data(), static_cast<sf_count_t>(stereo.size()));
    sf_close(file);
    return path;
}

Bytes box(std::string_view type, const Bytes &contents)
{
    return withBig(Bytes(4) + bytesOf(type) + contents, 0, 8 + contents.size(), 4);
}

Bytes inMovie(const Bytes &file, const Bytes &more)
{
    const std::size_t movie = placeOf("moov", file) - 4;
    return withBig(file, movie, file.size() - movie + more.size(), 4) + more;
}

Bytes resealed(Bytes bytes)
{
    for (std::size_t at = 0; at + 27 < bytes.size() && std::memcmp(&bytes[at], "OggS", 4) == 0;) {
        ogg_page page{&bytes[at], 27 + bytes[at + 26], nullptr, 0};
        const std::size_t body = at + static_cast<std::size_t>(page.header_len);
        for (std::size_t i = at + 27; i < std::min(body, bytes.size()); ++i)
            page.body_len += bytes[i];
        if (body + static_cast<std::size_t>(page.body_len) > bytes.size())
            break;
        page.body = &bytes[body - (page.body_len == 0 ? 1 : 0)];
        ogg_page_checksum_set(&page);
        at = body + static_cast<std::size_t>(page.body_len);
    }
    return bytes;
}

Cost inChild(const std::function<int()> &work)
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(work());
    int status = 0;
    rusage usage{};
    ::wait4(child, &status, 0, &usage);
    const auto seconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), usage.ru_maxrss * int64_t{1024},
            seconds(usage.ru_utime) + seconds(usage.ru_stime)};
}

Outcome outcomeOf(const Bytes &bytes, int64_t most)
{
    Outcome outcome;
    auto opened = FileReader::open(std::make_shared<MemorySource>(bytes));
    outcome.status = opened.status();
    if (!opened)
        return outcome;
    FileReader &reader = **opened;
    EXPECT_EQ(reader.setClient(floats()), noErr);
    outcome.announced = reader.format().frames * 44100 / static_cast<int64_t>(reader.format().rate);
    outcome.sound = readOn(reader, most, 4096, &outcome.status);
    EXPECT_EQ(reader.seek(reader.format().frames / 2), noErr);
    OSStatus later = noErr;
    outcome.rest = readOn(reader, 40'000, 4096, &later);
    outcome.status = outcome.status == noErr ? later : outcome.status;
    EXPECT_TRUE(outcome.status == noErr || outcome.status == kAudioFileReadError) << outcome.status;
    return outcome;
}

void expectToSurvive(OpenDecoder open, const Bytes &bytes)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    for (std::size_t size = 0; size < bytes.size(); size += size < 200 ? 1 : bytes.size() / 97) {
        SCOPED_TRACE("cut to " + std::to_string(size));
        const Outcome outcome = outcomeOf(part(bytes, 0, size));
        EXPECT_EQ(outcome.delivered(), outcome.announced);
        EXPECT_NE(outcome.status, kAudioFileReadError);
        expectHonestDecoder(open, part(bytes, 0, size));
    }
    const auto check = [open](const Bytes &flipped) {
        const Bytes broken = resealed(flipped);
        const Outcome outcome = outcomeOf(broken);
        EXPECT_TRUE(outcome.status != noErr || outcome.delivered() >= std::min<int64_t>(outcome.announced, 1'000'000))
            << "an early end is told";
        expectHonestDecoder(open, broken);
    };
    forEachFlip(bytes, bytes.size(), 80, check);
    forEachFlip(bytes, 1000, 160, check); // headers and indices
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

void expectSoundOfTheBytesAlone(const Bytes &bytes, int copies)
{
    const auto check = [](const Bytes &flipped) {
        std::vector<Outcome> outcomes;
        for (const int byte : {0x55, 0xAA}) {
            const HeapFill fill(static_cast<uint8_t>(byte));
            outcomes.push_back(outcomeOf(resealed(flipped), 80'000));
        }
        EXPECT_TRUE(outcomes[0] == outcomes[1]);
    };
    check(bytes);
    forEachFlip(bytes, bytes.size(), copies / 2, check);
    forEachFlip(bytes, 300, copies / 2, check);
}

} // namespace kx::test
