/// @file
/// kxtool: looks at audio files, plays, exports, decodes and synthesises them. Exit status 0; 1 after a failure, told
/// in one message on the standard error; 2 for a command line that makes no sense.
#include "Apps/kxtool/Commands.h"
#include "Apps/kxtool/Failure.h"
#include "Apps/kxtool/Time.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <iostream>
#include <new>

namespace kxtool
{

namespace
{

constexpr double kLongestSeconds = 1e8;          ///< three years
constexpr double kLongestSynthSeconds = 24000.0; ///< what a WAVE file holds of one channel of floats
constexpr float kHighestPitch = 22050.0F;        ///< hertz
constexpr float kLargestGain = 1000.0F;          ///< 60 dB

/// `text` as a whole as a number of `min` to `max`; what it is not is wrong usage of `option`.
template <class Number> Number numberIn(const std::string &option, const std::string &text, Number min, Number max)
{
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !(value >= min && value <= max))
        throw CLI::ValidationError(option, printable(text) + " is not a number that fits");
    return value;
}

int64_t frameIn(const std::string &option, const std::string &text)
{
    const auto frames = framesOf(text);
    if (!frames)
        throw CLI::ValidationError(option, printable(text) + " is neither a frame nor a time such as 1:37.5");
    return *frames;
}

void addFrame(CLI::App &command, const std::string &name, std::function<void(int64_t)> take, const std::string &help)
{
    command
        .add_option_function<std::string>(
            name, [name, take = std::move(take)](const std::string &text) { take(frameIn(name, text)); }, help)
        ->type_name("TIME");
}

void addRange(CLI::App &command, RangeOptions &range)
{
    addFrame(
        command, "--start", [&range](int64_t frame) { range.start = frame; }, "First frame of the range");
    addFrame(
        command, "--end", [&range](int64_t frame) { range.end = frame; }, "Frame that ends the range");
}

void addNumber(CLI::App &command, const std::string &name, std::optional<float> &value, float min, float max,
               const char *unit, const std::string &help)
{
    command
        .add_option_function<std::string>(
            name, [=, &value](const std::string &text) { value = numberIn(name, text, min, max); }, help)
        ->type_name(unit);
}

void addEffect(CLI::App &command, EffectOptions &effect)
{
    addNumber(command, "--rate", effect.rate, 0.25F, 4.0F, "RATE", "Speed, 0.25 to 4; the pitch stays");
    addNumber(command, "--pitch", effect.pitch, -2400.0F, 2400.0F, "CENTS", "Pitch, -2400 to 2400; the speed stays");
}

CLI::App &addCommand(CLI::App &app, const std::string &name, const std::string &help, std::string *file)
{
    CLI::App &command = *app.add_subcommand(name, help);
    if (file)
        command.add_option("FILE", *file, "The audio file")->required()->type_name("");
    return command;
}

void addPlay(CLI::App &app, PlayOptions &options, std::function<void()> &chosen)
{
    CLI::App &command = addCommand(app, "play", "Plays a file", &options.file);
    addRange(command, options.range);
    addFrame(
        command, "--position", [&](int64_t frame) { options.position = frame; }, "Where to start playing");
    command.add_flag("--loop", options.loop, "Play the range over and over");
    addNumber(command, "--volume", options.volume, 0.0F, 1.0F, "GAIN", "Linear gain, 0 to 1");
    addEffect(command, options.effect);
    command.add_option("--device", options.device, "Name of the output device")->type_name("NAME");
    command
        .add_option_function<std::string>(
            "--seconds",
            [&](const std::string &text) { options.seconds = numberIn("--seconds", text, 0.001, kLongestSeconds); },
            "Stop after this time")
        ->type_name("SECONDS");
    command.final_callback([&] { chosen = [&options] { play(options); }; });
}

void addExport(CLI::App &app, ExportOptions &options, std::function<void()> &chosen)
{
    CLI::App &command = addCommand(app, "export", "Writes a range as it sounds to an AIFF file", &options.file);
    command.add_option("OUT", options.output, "The AIFF file to write")->required()->type_name("");
    addRange(command, options.range);
    addEffect(command, options.effect);
    command.final_callback([&] { chosen = [&options] { exportRange(options); }; });
}

void addDecode(CLI::App &app, DecodeOptions &options, std::function<void()> &chosen)
{
    CLI::App &command =
        addCommand(app, "decode", "Writes frames as the player reads them: 16-bit big-endian stereo", &options.file);
    command.add_option("OUT", options.output, "The raw file to write")->required()->type_name("");
    addFrame(
        command, "--from", [&](int64_t frame) { options.from = frame; }, "First frame");
    addFrame(
        command, "--frames", [&](int64_t frames) { options.frames = frames; }, "How many frames");
    command.final_callback([&] { chosen = [&options] { decode(options); }; });
}

uint8_t waveformIn(const std::string &option, const std::string &text)
{
    static constexpr std::array names{"sine", "triangle", "square", "noise", "constant"};
    const auto found = std::find(names.begin(), names.end(), text);
    if (found == names.end())
        throw CLI::ValidationError(option, printable(text) + " is not a waveform");
    return static_cast<uint8_t>(found - names.begin());
}

/// Adds the options of one oscillator, under names that begin with `prefix`.
std::array<CLI::Option *, 3> addOscillator(CLI::App &command, const std::string &prefix, OscillatorOptions &options,
                                           float largestAmplitude)
{
    const auto add = [&](const std::string &name, auto take, const std::string &type, const std::string &help) {
        const std::string option = prefix + name;
        return command
            .add_option_function<std::string>(
                option, [option, take](const std::string &text) { take(option, text); }, help)
            ->type_name(type);
    };
    return {add(
                "type", [&](const auto &name, const auto &text) { options.type = waveformIn(name, text); }, "WAVEFORM",
                "sine, triangle, square, noise or constant"),
            add(
                "pitch",
                [&](const auto &name, const auto &text) { options.pitch = numberIn(name, text, 0.0F, kHighestPitch); },
                "HZ", "0 to half the rate, 22,050"),
            add(
                "amplitude",
                [&, largestAmplitude](const auto &name, const auto &text) {
                    options.amplitude = numberIn(name, text, -largestAmplitude, largestAmplitude);
                },
                "A", prefix == "--" ? "A linear gain, -1000 to 1000" : "Hertz, -22,050 to 22,050")};
}

void addSynth(CLI::App &app, SynthOptions &options, std::function<void()> &chosen)
{
    CLI::App &command = addCommand(app, "synth", "Writes what an oscillator makes to a WAVE file of floats", nullptr);
    command.add_option("OUT", options.output, "The WAVE file to write")->required()->type_name("");
    for (CLI::Option *option : addOscillator(command, "--", options.sound, kLargestGain))
        option->required();
    command
        .add_option_function<std::string>(
            "--seconds",
            [&](const std::string &text) { options.seconds = numberIn("--seconds", text, 0.0, kLongestSynthSeconds); },
            "Length, up to 24,000")
        ->required()
        ->type_name("SECONDS");
    const auto modulation = addOscillator(command, "--lfo-", options.modulation, kHighestPitch);
    for (CLI::Option *option : modulation)
        for (CLI::Option *other : modulation)
            if (option != other)
                option->needs(other);
    command.final_callback([&options, &chosen, first = modulation[0]] {
        options.isModulated = first->count() > 0;
        chosen = [&options] { synthesise(options); };
    });
}

void addFormat(CLI::App &app, FormatOptions &options, std::function<void()> &chosen)
{
    CLI::App &command = addCommand(app, "format", "Shows the stream description of a file", &options.file);
    command.add_option("--save", options.save, "Write it to a description file too")->type_name("DESC");
    command.final_callback([&] { chosen = [&options] { showFormat(options); }; });
}

void addTone(CLI::App &app, std::string &directory, std::function<void()> &chosen)
{
    CLI::App &command = addCommand(app, "tone", "Makes the test file, a ramp through all 16-bit samples", nullptr);
    command.add_option("DIR", directory, "Where to put it; without it, the home directory")->type_name("");
    command.final_callback([&] { chosen = [&directory] { makeTone(directory); }; });
}

int report(const std::string &message, int status)
{
    std::cout.flush();
    std::cerr << "kxtool: " << message << '\n';
    return status;
}

int run(const std::function<void()> &command, const std::string &file)
{
    try {
        command();
        if (!std::cout.flush())
            return report("the standard output cannot be written", 1);
        return 0;
    } catch (const UsageError &error) {
        return report(error.what(), 2);
    } catch (const Failure &failure) {
        return report(failure.what(), 1);
    } catch (const std::bad_alloc &) {
        return report(Failure(file, "not enough memory").what(), 1);
    } catch (const std::exception &exception) {
        return report(Failure(file, exception.what()).what(), 1);
    }
}

} // namespace

int runCommandLine(int argc, char **argv)
{
    CLI::App app(
        "Looks at audio files, plays, exports, decodes and synthesises them. A TIME is a frame of 44,100 a second "
        "(66150), seconds (1.5 or 3s), or minutes and seconds (1:37.5).",
        "kxtool");
    app.require_subcommand(1);
    std::string file;
    PlayOptions playing;
    ExportOptions exporting;
    DecodeOptions decoding;
    SynthOptions synthesising;
    FormatOptions formatting;
    std::string toneDirectory;
    std::function<void()> chosen;
    addCommand(app, "info", "Shows what a file holds", &file).final_callback([&] {
        chosen = [&file] { showInfo(file); };
    });
    addCommand(app, "formats", "Lists the kinds of files that can be opened", nullptr).final_callback([&] {
        chosen = showFormats;
    });
    addCommand(app, "devices", "Lists the audio devices", nullptr).final_callback([&] { chosen = showDevices; });
    addPlay(app, playing, chosen);
    addExport(app, exporting, chosen);
    addDecode(app, decoding, chosen);
    addSynth(app, synthesising, chosen);
    addFormat(app, formatting, chosen);
    addTone(app, toneDirectory, chosen);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &help) {
        return app.exit(help);
    } catch (const CLI::ParseError &error) {
        return report(printable(error.what()) + " (kxtool --help tells more)", 2);
    }
    return run(chosen, file + playing.file + exporting.file + decoding.file + synthesising.output + formatting.file);
}

} // namespace kxtool

int main(int argc, char **argv)
{
    return kxtool::runCommandLine(argc, argv);
}
