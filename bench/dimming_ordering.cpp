// Budget: one full ordering pass with 200 windows on 4 screens, on the simulated desktop (≤ 50 µs).
#include <benchmark/benchmark.h>

#include "dimming/FocusDimmer.h"
#include "dimming/NullMediaPlayback.h"
#include "platform/fake/FakeDesktop.h"
#include "settings/SettingsStore.h"

using namespace tamsinvale;

namespace {

struct Desktop {
    FakeDesktop desktop;
    SettingsStore settings{desktop.defaults};
    NullMediaPlayback media;
    std::unique_ptr<FocusDimmer> dimmer;

    explicit Desktop(int windows, int screens)
    {
        QList<ScreenInfo> list;
        for (int s = 0; s < screens; ++s)
            list.append(FakeScreens::makeScreen(DisplayId(s + 1), QRectF(s * 1920, 0, 1920, 1080)));
        desktop.screens.setScreens(list);
        // 20 applications; windows spread over every screen, a few small ones and palettes among them.
        for (int i = 0; i < windows; ++i) {
            const std::int32_t pid = 10 + i % 20;
            if (!desktop.workspace.runningApplication(pid))
                desktop.workspace.addApplication(
                    desktop.makeApp(pid, QStringLiteral("org.example.%1").arg(pid), QStringLiteral("App %1").arg(pid)));
            FakeWindow w;
            w.pid = pid;
            const int screen = (i / 7) % screens;
            w.bounds = QRectF(screen * 1920 + (i * 37) % 900, 40 + (i * 53) % 400, i % 11 == 0 ? 40 : 700, 500);
            w.layer = i % 29 == 0 ? WindowLevel::floating : WindowLevel::normal;
            desktop.server.addWindow(w);
        }
        desktop.workspace.activate(10, true);
        dimmer = std::make_unique<FocusDimmer>(desktop.platform(), settings, media);
        dimmer->refresh();
    }
};

void BM_updateOrdering(benchmark::State& state)
{
    Desktop d(int(state.range(0)), int(state.range(1)));
    if (d.dimmer->windowsByScreen().size() != std::size_t(state.range(1)))
        state.SkipWithError("overlays were not built");
    for (auto _ : state)
        d.dimmer->updateOrdering(QStringLiteral("bench"));
    state.counters["overlays"] = double(d.dimmer->windowsByScreen().size());
}
BENCHMARK(BM_updateOrdering)->Args({200, 4})->Args({50, 2})->Unit(benchmark::kMicrosecond);

void BM_reorderOptimistically(benchmark::State& state)
{
    Desktop d(200, 4);
    for (auto _ : state)
        d.dimmer->reorderOptimisticallyThenVerify(QStringLiteral("bench"));
}
BENCHMARK(BM_reorderOptimistically)->Unit(benchmark::kMicrosecond);

}  // namespace
