/// @file
/// kxplayer's window: how soon it is ready with a file of an hour, beside an empty window and `kxtool info`; and what
/// playing costs, drawing included. The window is a real one where the environment names a platform for it
/// (QT_QPA_PLATFORM), else it is drawn in memory.
#include "Apps/kxplayer/MainWindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <sndfile.h>

#include <cmath>
#include <filesystem>
#include <sys/resource.h>
#include <vector>

namespace
{

constexpr int64_t kMinute = 44100 * 60;
constexpr int kPlayingMilliseconds = 5000;

/// The toolkit and files of noise, made when a benchmark first asks, for the rest of the run.
struct Desktop {
    static Desktop &shared()
    {
        static Desktop desktop;
        return desktop;
    }
    std::filesystem::path fileOf(int minutes) const
    {
        const auto path = std::filesystem::path(folder.path().toStdString()) / (std::to_string(minutes) + ".wav");
        if (std::filesystem::exists(path))
            return path;
        std::vector<int16_t> samples(kMinute * 2);
        for (std::size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<int16_t>(std::sin(double(i) * 1e-5) * static_cast<int16_t>(i * 7919));
        SF_INFO info{0, 44100, 2, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 0, 0};
        SNDFILE *file = sf_open(path.c_str(), SFM_WRITE, &info);
        for (int minute = 0; minute < minutes; ++minute)
            sf_writef_short(file, samples.data(), kMinute);
        sf_close(file);
        return path;
    }

    QTemporaryDir folder;

private:
    Desktop()
    {
        if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, folder.path());
        static int argc = 1;
        static char name[] = "kxbench";
        static char *argv[] = {name, nullptr};
        application = std::make_unique<QApplication>(argc, argv);
    }
    std::unique_ptr<QApplication> application;
};

void waitUntil(const auto &condition)
{
    while (!condition())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

/// Shows a window and waits until it is on the screen and, with a file, until it can be played.
void showWindow(const std::filesystem::path &file)
{
    kxplayer::MainWindow window;
    window.show();
    if (!file.empty())
        window.openFile(file);
    const auto *play = window.findChild<QPushButton *>("playButton");
    waitUntil([&] { return window.isVisible() && (file.empty() || play->isEnabled()); });
    window.repaint();
}

void infoOfAnHour(benchmark::State &state)
{
    const auto file = QString::fromStdString(Desktop::shared().fileOf(60).string());
    QProcess kxtool;
    kxtool.setProgram(QApplication::applicationDirPath() + "/kxtool");
    kxtool.setArguments({"info", file});
    for (auto _ : state) {
        kxtool.start();
        if (!kxtool.waitForFinished() || kxtool.exitCode() != 0)
            state.SkipWithError("kxtool info failed");
    }
}

void emptyWindow(benchmark::State &state)
{
    Desktop::shared();
    for (auto _ : state)
        showWindow({});
}

void windowWithAnHour(benchmark::State &state)
{
    const auto file = Desktop::shared().fileOf(60);
    for (auto _ : state)
        showWindow(file);
}

double processSeconds()
{
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    const auto seconds = [](const timeval &time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

/// `core` is the share of one core that the whole process takes while a minute plays in a loop.
void windowThatPlays(benchmark::State &state)
{
    const auto file = Desktop::shared().fileOf(1);
    kxplayer::MainWindow window;
    window.show();
    window.openFile(file);
    double used = 0;
    for (auto _ : state) {
        window.screen()->setPlaying(true);
        const double before = processSeconds();
        QElapsedTimer clock;
        clock.start();
        waitUntil([&] { return clock.elapsed() >= kPlayingMilliseconds; });
        used += (processSeconds() - before) / (double(clock.elapsed()) / 1000);
        window.screen()->setPlaying(false);
    }
    state.counters["core"] = benchmark::Counter(used, benchmark::Counter::kAvgIterations);
}

} // namespace

BENCHMARK(infoOfAnHour)->Name("PlayerWindow/kxtool info of an hour")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(emptyWindow)->Name("PlayerWindow/empty")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(windowWithAnHour)->Name("PlayerWindow/with an hour")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(windowThatPlays)->Name("PlayerWindow/playing")->UseRealTime()->Iterations(1)->Unit(benchmark::kMillisecond);
