/// @file
/// kxplayer's timeline at 1920 x 300 points of a screen of two pixels a point: what a refresh costs when the view is
/// zoomed, when it is panned and while the play line moves; and how fast the overview of a file is computed.
#include "Apps/kxplayer/Timeline/TimelineView.h"

#include <QApplication>
#include <QImage>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <vector>

namespace
{

constexpr int64_t kBenchFrames = int64_t{44100} * 60 * 10;
constexpr double kBenchScale = 2;

/// A file of loud noise with a WAVE header, and a view of it.
struct Painted {
    Painted()
    {
        if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        if (!QApplication::instance()) {
            static int argc = 1;
            static char name[] = "kxbench";
            static char *argv[] = {name, nullptr};
            new QApplication(argc, argv);
        }
        view = std::make_unique<kxplayer::TimelineView>(model);
        view->resize(1920, 300);
        image = QImage(view->size() * kBenchScale, QImage::Format_RGB32);
        image.setDevicePixelRatio(kBenchScale);
        model.open(file(), kx::Frames(kBenchFrames));
        view->grab();
        waitUntil([this] { return model.source().overview->hasEnded(); });
        model.setRange({kx::Frames(kBenchFrames / 3), kx::Frames(kBenchFrames / 2)});
        model.moveLine(kBenchFrames / 4, false);
    }

    static void waitUntil(const auto &condition)
    {
        while (!condition())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    std::filesystem::path file() const
    {
        const auto path = std::filesystem::path(folder.path().toStdString()) / "noise.wav";
        std::vector<int16_t> samples(kBenchFrames * 2);
        for (std::size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<int16_t>(std::sin(double(i) * 1e-5) * static_cast<int16_t>(i * 7919));
        const auto bytes = static_cast<uint32_t>(samples.size() * 2);
        const uint32_t header[] = {0x46464952, 36 + bytes, 0x45564157, 0x20746d66, 16,   0x00020001,
                                   44100,      176400,     0x00100004, 0x61746164, bytes};
        std::ofstream out(path, std::ios::binary);
        out.write(reinterpret_cast<const char *>(header), sizeof header);
        out.write(reinterpret_cast<const char *>(samples.data()), bytes);
        return path;
    }
    void paint() { view->render(&image); }

    QTemporaryDir folder;
    kxplayer::TimelineModel model;
    std::unique_ptr<kxplayer::TimelineView> view;
    QImage image;
};

/// Each refresh shows another zoom, from the whole file to where samples would be wanted.
void zoomTimeline(benchmark::State &state)
{
    Painted painted;
    const kxplayer::Viewport all = painted.model.view().all();
    double factor = 1;
    for (auto _ : state) {
        factor = factor > 5 ? 1 : factor * 1.1;
        painted.model.setView(all.zoomedAt(700, factor));
        painted.paint();
    }
}

/// The same, made of samples.
void zoomTimelineToSamples(benchmark::State &state)
{
    Painted painted;
    const kxplayer::Viewport close = painted.model.view().showing(kBenchFrames / 3.0, kBenchFrames / 3.0 + 500000);
    painted.model.setView(close);
    painted.paint();
    Painted::waitUntil([&] { return painted.model.source().samples != nullptr; });
    double factor = 1;
    for (auto _ : state) {
        factor = factor > 1000 ? 1 : factor * 1.1;
        painted.model.setView(close.zoomedAt(700, factor));
        painted.paint();
    }
}

void panTimeline(benchmark::State &state)
{
    Painted painted;
    painted.model.setView(painted.model.view().zoomedAt(700, 8));
    const double first = painted.model.view().firstFrame();
    int step = 0;
    for (auto _ : state) {
        painted.model.setView(
            painted.model.view().startingAt(first + painted.model.view().span() * 1e-3 * (++step % 500)));
        painted.paint();
    }
}

/// As the overview's thread does it, but for the reading.
void computeOverview(benchmark::State &state)
{
    std::vector<int16_t> samples(16384 * 2);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<int16_t>(i * 7919);
    for (auto _ : state) {
        kxplayer::Overview overview(kBenchFrames);
        while (overview.framesDone() + 16384 < kBenchFrames)
            overview.add(samples);
        overview.end();
        benchmark::DoNotOptimize(overview.framesDone());
    }
    state.counters["times real time"] =
        benchmark::Counter(double(kBenchFrames) / 44100, benchmark::Counter::kIsIterationInvariantRate);
}

} // namespace

BENCHMARK(zoomTimeline)->Name("Timeline/zoom, 1920 x 300 at 2")->Unit(benchmark::kMillisecond);
BENCHMARK(zoomTimelineToSamples)->Name("Timeline/zoom to samples")->Unit(benchmark::kMillisecond);
BENCHMARK(panTimeline)->Name("Timeline/pan")->Unit(benchmark::kMillisecond);
BENCHMARK(computeOverview)->Name("Timeline/overview")->Unit(benchmark::kMillisecond);
