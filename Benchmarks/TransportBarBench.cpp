/// @file
/// A layout of the transport bar's five layers, in a transaction that tells a host what to paint. No painting.
#include "KXFW/Platform/Layers/LayerHost.h"
#include "KXFW/UI/KXPlayPositionView.h"

#include <benchmark/benchmark.h>
#include <memory>
#include <vector>

namespace
{

struct CountingHost : kx::LayerHost {
    void layersDidChange(const std::vector<NSRect> &changed) override { areas += changed.size(); }

    size_t areas = 0;
};

struct Bar {
    Bar()
    {
        view->setWantsLayer(true);
        view->setFrame({{0, 0}, {420, 40}});
        view->awakeFromNib();
        view->setNumFrames(26460000); // 10 minutes
        view->setEndFrame(20000000);
        view->setEnabled(true);
        kx::LayerHost::set(*view->layer(), &host);
    }
    ~Bar() { kx::LayerHost::set(*view->layer(), nullptr); }
    Bar(const Bar &) = delete;
    Bar &operator=(const Bar &) = delete;

    CountingHost host;
    std::shared_ptr<KXPlayPositionView> view = std::make_shared<KXPlayPositionView>();
};

void report(benchmark::State &state, const Bar &bar)
{
    state.counters["areas"] = benchmark::Counter(double(bar.host.areas), benchmark::Counter::kAvgIterations);
}

/// Nothing has changed: what a redundant setter costs.
void layoutUnchanged(benchmark::State &state)
{
    Bar bar;
    for (auto _ : state)
        bar.view->layout();
    report(state, bar);
}

/// The play line moves, as it does all the time while the player plays.
void layoutOfAPlayStep(benchmark::State &state)
{
    Bar bar;
    int64_t frame = 0;
    for (auto _ : state) {
        frame = (frame + 4410) % 20000000;
        bar.view->setPlayFrame(frame);
    }
    report(state, bar);
}

/// Every layer moves, as with each step of a resize.
void layoutOfAll(benchmark::State &state)
{
    Bar bar;
    double width = 420;
    for (auto _ : state) {
        width = 840 - width + 1;
        bar.view->setFrame({{0, 0}, {width, 40}});
    }
    report(state, bar);
}

/// A press on the bar and a drag of 100 steps.
void dragOfThePlayLine(benchmark::State &state)
{
    Bar bar;
    for (auto _ : state) {
        bar.view->mouseDown(NSEvent({20, 20}));
        for (int step = 0; step < 100; ++step)
            bar.view->mouseDragged(NSEvent({20.0 + step, 20}));
        bar.view->mouseUp(NSEvent({120, 20}));
    }
    state.SetItemsProcessed(state.iterations() * 102);
}

BENCHMARK(layoutUnchanged);
BENCHMARK(layoutOfAPlayStep);
BENCHMARK(layoutOfAll);
BENCHMARK(dragOfThePlayLine);

} // namespace
