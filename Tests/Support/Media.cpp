#include "Tests/Support/Media.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <numbers>
#include <sstream>
#include <stdexcept>

extern char **environ; // NOLINT: POSIX declares it nowhere else

namespace kx::test
{

namespace
{

double sines(double seconds, uint32_t channel)
{
    constexpr double turn = 2 * std::numbers::pi;
    const double base = 220.0 * (1.0 + 0.31 * channel);
    return 0.35 * std::sin(turn * base * seconds) + 0.2 * std::sin(turn * base * 4.7 * seconds + 1.0) +
           0.1 * std::sin(turn * base * 11.3 * seconds + 2.0);
}

void append(std::vector<uint8_t> &bytes, uint64_t value, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i)
        bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

void append(std::vector<uint8_t> &bytes, const char *text)
{
    bytes.insert(bytes.end(), text, text + std::strlen(text));
}

/// Everything of a WAVE file before its samples.
std::vector<uint8_t> waveHeader(uint32_t tag, uint32_t rate, uint32_t channels, uint32_t bits, uint64_t dataBytes)
{
    const uint32_t frameBytes = channels * bits / 8;
    const std::pair<uint64_t, uint32_t> format[] = {
        {16, 4}, {tag, 2}, {channels, 2}, {rate, 4}, {uint64_t{rate} * frameBytes, 4}, {frameBytes, 2}, {bits, 2}};
    std::vector<uint8_t> bytes;
    append(bytes, "RIFF");
    append(bytes, 36 + dataBytes + dataBytes % 2, 4);
    append(bytes, "WAVEfmt ");
    for (const auto &[value, count] : format)
        append(bytes, value, count);
    append(bytes, "data");
    append(bytes, dataBytes, 4);
    return bytes;
}

/// How the file of a codec ends, and how it is made; OPTIONS stands for those that are asked for.
struct Encoder {
    const char *extension;
    const char *command;
};

constexpr Encoder kEncoders[] = {
    // in the order of Codec
    {"wav", ""},
    {"aiff", "ffmpeg -nostdin -v error -y -i SOURCE -bitexact -c:a pcm_sBITSbe -f aiff OPTIONS TARGET"},
    {"flac", "flac --silent --force OPTIONS -o TARGET SOURCE"},
    {"oga", "flac --silent --force --ogg --serial-number 1 OPTIONS -o TARGET SOURCE"},
    {"ogg", "oggenc -Q --serial 1 OPTIONS -o TARGET SOURCE"},
    {"opus", "ffmpeg -nostdin -v error -y -i SOURCE -bitexact -c:a libopus OPTIONS TARGET"},
    {"mp3", "lame --quiet --noreplaygain OPTIONS SOURCE TARGET"},
    {"mp2", "ffmpeg -nostdin -v error -y -i SOURCE -bitexact -c:a mp2 -f mp2 OPTIONS TARGET"},
    {"m4a", "ffmpeg -nostdin -v error -y -i SOURCE -bitexact -c:a aac -f ipod OPTIONS TARGET"},
    {"m4a", "ffmpeg -nostdin -v error -y -i SOURCE -bitexact -c:a alac -sample_fmt KIND -f ipod OPTIONS TARGET"},
};

const Encoder &encoderOf(Codec codec)
{
    return kEncoders[static_cast<std::size_t>(codec)];
}

/// The command that encodes `source` to `target`.
std::vector<std::string> encoderCommand(const Media &media, const std::string &source, const std::string &target)
{
    const std::map<std::string, std::vector<std::string>> parts{
        {"SOURCE", {source}},
        {"TARGET", {target}},
        {"OPTIONS", media.options},
        {"KIND", {media.bits > 16 ? "s32p" : "s16p"}},
        {"pcm_sBITSbe", {"pcm_s" + std::to_string(media.bits) + "be"}},
    };
    std::vector<std::string> command;
    std::istringstream words(encoderOf(media.codec).command);
    for (std::string word; words >> word;) {
        const auto part = parts.find(word);
        const auto &added = part == parts.end() ? std::vector{word} : part->second;
        command.insert(command.end(), added.begin(), added.end());
    }
    return command;
}

std::vector<uint8_t> waveOf(const Media &media)
{
    return media.floats ? floatWaveBytes(media.rate, media.channels, floatSamples(media))
                        : waveBytes(media.rate, media.channels, media.bits, samples(media));
}

void encode(const Media &media, const std::filesystem::path &target)
{
    if (media.codec == Codec::WAV)
        return writeBytes(target, waveOf(media));
    const std::filesystem::path source = fileOf("source.wav", waveOf(media));
    const ToolResult result = runTool(encoderCommand(media, source.string(), target.string()));
    std::filesystem::remove(source);
    if (result.status != 0)
        throw std::runtime_error("the encoder failed: " + result.errors);
}

} // namespace

std::filesystem::path make(const Media &media)
{
    static std::mutex mutex;
    static std::map<Media, std::filesystem::path> made;
    const std::lock_guard lock(mutex);
    std::filesystem::path &path = made[media];
    if (path.empty()) {
        const std::filesystem::path target = temporaryPath(std::string("media.") + encoderOf(media.codec).extension);
        encode(media, target);
        path = target;
    }
    return path;
}

std::vector<int32_t> samples(const Media &media)
{
    const double scale = std::ldexp(1.0, static_cast<int>(media.bits) - 1);
    uint32_t state = media.seed * 2654435761U + 1;
    std::vector<int32_t> result;
    result.reserve(static_cast<std::size_t>(media.frames) * media.channels);
    for (int64_t frame = 0; frame < media.frames; ++frame) {
        for (uint32_t channel = 0; channel < media.channels; ++channel) {
            state = state * 1664525U + 1013904223U; // the same on every machine
            const double noise = static_cast<double>(static_cast<int32_t>(state)) / 2147483648.0;
            const double wave = media.signal == Signal::Noise
                                    ? 0.5 * noise
                                    : sines(static_cast<double>(frame) / media.rate, channel) + 0.05 * noise;
            result.push_back(media.signal == Signal::Index ? static_cast<int16_t>(frame >> (16 * (channel % 4)))
                                                           : static_cast<int32_t>(std::lrint(wave * (scale - 1))));
        }
    }
    return result;
}

std::vector<float> floatSamples(const Media &media)
{
    std::vector<float> result;
    for (const int32_t value : samples(media))
        result.push_back(static_cast<float>(std::ldexp(value, 1 - static_cast<int>(media.bits))));
    return result;
}

std::vector<uint8_t> bigEndian(const std::vector<int32_t> &samples)
{
    std::vector<uint8_t> bytes;
    for (const int32_t sample : samples)
        bytes.insert(bytes.end(), {static_cast<uint8_t>(sample >> 8), static_cast<uint8_t>(sample)});
    return bytes;
}

std::vector<uint8_t> waveBytes(uint32_t rate, uint32_t channels, uint32_t bits, const std::vector<int32_t> &samples)
{
    std::vector<uint8_t> bytes = waveHeader(1, rate, channels, bits, samples.size() * bits / 8);
    bytes.reserve(bytes.size() + samples.size() * bits / 8 + 1);
    for (const int32_t sample : samples)
        append(bytes, static_cast<uint32_t>(bits == 8 ? sample + 128 : sample), bits / 8);
    if (bytes.size() % 2 != 0)
        bytes.push_back(0);
    return bytes;
}

std::vector<uint8_t> floatWaveBytes(uint32_t rate, uint32_t channels, const std::vector<float> &samples)
{
    std::vector<uint8_t> bytes = waveHeader(3, rate, channels, 32, samples.size() * 4);
    for (const float sample : samples)
        append(bytes, std::bit_cast<uint32_t>(sample), 4);
    return bytes;
}

std::filesystem::path temporaryFolder()
{
    const auto make = [] {
        std::string pattern = (std::filesystem::temp_directory_path() / "kxtest-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("cannot make a temporary folder");
        return new std::filesystem::path(pattern);
    };
    const auto remove = [owner = getpid()](const std::filesystem::path *folder) {
        std::error_code ignored;
        if (getpid() == owner) // not its forked children
            std::filesystem::remove_all(*folder, ignored);
        delete folder;
    };
    static const std::shared_ptr<std::filesystem::path> folder(make(), remove);
    return *folder;
}

std::filesystem::path temporaryPath(const std::string &name)
{
    static std::atomic<int> number{0};
    return temporaryFolder() / (std::to_string(++number) + "-" + name);
}

std::vector<uint8_t> readBytes(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + path.string());
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void writeBytes(const std::filesystem::path &path, const std::vector<uint8_t> &bytes)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file)
        throw std::runtime_error("cannot write " + path.string());
}

std::filesystem::path fileOf(const std::string &name, const std::vector<uint8_t> &bytes)
{
    std::filesystem::path path = temporaryPath(name);
    writeBytes(path, bytes);
    return path;
}

ToolResult runTool(const std::vector<std::string> &arguments)
{
    std::vector<char *> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string &argument : arguments)
        argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);
    const std::string output = temporaryPath("output").string();
    const std::string errors = temporaryPath("errors").string();

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid = 0;
    const int failure = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0)
        throw std::runtime_error("cannot run " + arguments.at(0) + ": " + std::strerror(failure));

    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    const std::vector<uint8_t> out = readBytes(output);
    const std::vector<uint8_t> err = readBytes(errors);
    std::filesystem::remove(output);
    std::filesystem::remove(errors);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
            {out.begin(), out.end()},
            {err.begin(), err.end()}};
}

} // namespace kx::test
