#include "Apps/kxtool/Commands.h"
#include "Apps/kxtool/Failure.h"
#include "Apps/kxtool/Input.h"
#include "Apps/kxtool/Progress.h"
#include "Apps/kxtool/Waiter.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>

namespace kxtool
{

namespace
{

void requireAIFF(const std::string &output)
{
    std::string suffix = std::filesystem::path(output).extension();
    std::ranges::transform(suffix, suffix.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (!suffix.empty() && suffix != ".aiff" && suffix != ".aif")
        throw UsageError(printable(output) + ": an export is an AIFF file, .aiff or .aif, and no " + printable(suffix));
}

/// Until the end, which an interrupt brings nearer.
void waitForExport(kx::Exporter &exporter, Waiter &waiter)
{
    const kx::Subscription ended = exporter.onEnded([&](const kx::Result<> &) { waiter.finish(); });
    ProgressLine progress;
    for (;;) {
        progress.show(percentBar(100 * exporter.progress()));
        const Waiter::Event event = waiter.wait(std::chrono::milliseconds(100));
        if (event == Waiter::Event::Signal)
            exporter.cancel();
        if (event == Waiter::Event::Finished)
            return progress.show(percentBar(100 * exporter.progress()));
    }
}

} // namespace

void exportRange(const ExportOptions &options)
{
    requireOrder(options.range);
    requireAIFF(options.output);
    requireDifferentFiles(options.file, options.output);
    setenv("KXFW_AUDIO_BACKEND", "virtual", 0); // an export plays nothing, and waits for no sound server
    Waiter waiter;
    kx::Player player = makePlayer(options.file, options.effect);
    require(player.setRange(rangeIn(options.file, options.range, player.length())));
    kx::Exporter exporter = require(player.exportRange(options.output));
    waitForExport(exporter, waiter);
    require(exporter.wait());
}

} // namespace kxtool
