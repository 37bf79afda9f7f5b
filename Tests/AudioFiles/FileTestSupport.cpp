#include "FileTestSupport.h"
#include "Tests/Support/Media.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <ogg/ogg.h>
#include <sndfile.h>

namespace kx::test
{

Bytes OpenFile::read(uint32_t frames, uint32_t frameBytes)
{
    Bytes bytes(std::size_t{frames} * frameBytes);
    AudioBufferList list{1, {{1, static_cast<uint32_t>(bytes.size()), bytes.data()}}};
    readStatus = ExtAudioFileRead(file_, &frames, &list);
    bytes.resize(std::size_t{frames} * frameBytes);
    return bytes;
}

std::vector<int16_t> bigEndian(std::vector<int16_t> samples)
{
    for (int16_t &s : samples)
        s = static_cast<int16_t>(__builtin_bswap16(static_cast<uint16_t>(s)));
    return samples;
}

Bytes bytesOf(std::string_view text)
{
    return {text.begin(), text.end()};
}

Bytes operator+(Bytes a, const Bytes &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

void putBig(Bytes &bytes, std::size_t at, uint64_t value, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        bytes.at(at + i) = static_cast<uint8_t>(value >> (8 * (count - 1 - i)));
}

void putLittle(Bytes &bytes, std::size_t at, uint64_t value, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        bytes.at(at + i) = static_cast<uint8_t>(value >> (8 * i));
}

Bytes box(std::string_view type, const Bytes &contents)
{
    Bytes bytes = Bytes(4) + bytesOf(type) + contents;
    putBig(bytes, 0, bytes.size(), 4);
    return bytes;
}

Bytes repeated(const Bytes &bytes, std::size_t copies)
{
    Bytes all;
    all.reserve(bytes.size() * copies);
    for (std::size_t i = 0; i < copies; ++i)
        all.insert(all.end(), bytes.begin(), bytes.end());
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

int inChild(const std::function<int()> &body)
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(body());
    int result = 0;
    ::waitpid(child, &result, 0);
    return WIFEXITED(result) ? WEXITSTATUS(result) : 128 + WTERMSIG(result);
}

} // namespace kx::test
