// Window-list snapshot budget: 50 client windows on Xvfb + Openbox, read through the X11 backend (≤ 2 ms median).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "TestClient.h"
#include "WindowManagerProcess.h"
#include "XTestDisplay.h"
#include "XvfbServer.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Desktop.h"
#include "platform/x11/X11Screens.h"
#include "platform/x11/X11WindowList.h"

using namespace tamsinvale;
using namespace tamsinvale::x11test;

namespace {

struct Desktop {
    std::unique_ptr<XvfbServer> xvfb;
    std::unique_ptr<XTestDisplay> display;
    std::unique_ptr<WindowManagerProcess> wm;
    std::vector<std::unique_ptr<TestClient>> clients;
    xcb_connection_t* connection = nullptr;
    std::unique_ptr<X11Desktop> backend;
    QList<xcb_window_t> panels;

    ~Desktop()
    {
        backend.reset();
        if (connection)
            xcb_disconnect(connection);
        clients.clear();
        wm.reset();
        display.reset();
        xvfb.reset();
    }
};

Desktop* desktop = nullptr;

// Ten applications with five windows each, spread over the screen, one of them a dock along the top.
bool bringUp(Desktop& d)
{
    d.xvfb = XvfbServer::start();
    if (!d.xvfb)
        return false;
    d.display = std::make_unique<XTestDisplay>(d.xvfb->display());
    d.wm = WindowManagerProcess::start(WindowManagerProcess::Kind::openbox, d.xvfb->display(), *d.display);
    if (!d.wm)
        return false;
    for (int app = 0; app < 10; ++app) {
        QList<WindowSpec> windows;
        for (int i = 0; i < 5; ++i) {
            WindowSpec w;
            w.title = QStringLiteral("app %1 window %2").arg(app).arg(i);
            w.windowClass = QStringLiteral("BenchApp%1").arg(app);
            w.x = 40 + app * 150;
            w.y = 60 + i * 150;
            w.width = 400;
            w.height = 300;
            if (app == 0 && i == 0) {
                w.type = QStringLiteral("dock");
                w.x = 0;
                w.y = 0;
                w.width = 1920;
                w.height = 28;
                w.strutTop = 28;
                w.strutTopEndX = 1919;
            } else if (i == 4) {
                w.type = QStringLiteral("dialog");
                w.transientFor = 0;
            }
            windows.append(w);
        }
        auto client = TestClient::start(d.xvfb->display(), windows);
        if (!client)
            return false;
        d.clients.push_back(std::move(client));
    }
    d.connection = xcb_connect(d.xvfb->display().toLocal8Bit().constData(), nullptr);
    if (xcb_connection_has_error(d.connection))
        return false;
    d.backend = std::make_unique<X11Desktop>(d.connection, 0, false);
    const auto snapshot = d.backend->windowList().onScreenWindows();
    return snapshot && snapshot->size() == 50;
}

void windowListSnapshot(benchmark::State& state)
{
    X11WindowList& list = desktop->backend->windowList();
    qsizetype count = 0;
    for (auto _ : state) {
        const auto snapshot = list.onScreenWindows();
        count = snapshot ? snapshot->size() : -1;
        benchmark::DoNotOptimize(count);
    }
    state.counters["windows"] = static_cast<double>(count);
    if (count != 50)
        state.SkipWithError("the snapshot does not hold the 50 windows");
}
BENCHMARK(windowListSnapshot)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(9)->DisplayAggregatesOnly(true);

// With our own panels registered the snapshot also walks the root's stacking to place them.
void windowListSnapshotWithOwnPanels(benchmark::State& state)
{
    xcb_connection_t* c = desktop->connection;
    if (desktop->panels.isEmpty()) {
        for (int i = 0; i < 3; ++i) {
            const xcb_window_t panel = xcb_generate_id(c);
            const uint32_t values[] = {1};
            xcb_create_window(c, XCB_COPY_FROM_PARENT, panel, desktop->backend->connection().root(), 0, 0, 640, 480, 0,
                              XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT, values);
            xcb_map_window(c, panel);
            desktop->backend->registerOwnPanel(panel, WindowLevel::normal);
            desktop->panels.append(panel);
        }
        xcb_flush(c);
    }
    X11WindowList& list = desktop->backend->windowList();
    qsizetype count = 0;
    for (auto _ : state) {
        const auto snapshot = list.onScreenWindows();
        count = snapshot ? snapshot->size() : -1;
        benchmark::DoNotOptimize(count);
    }
    state.counters["windows"] = static_cast<double>(count);
    if (count != 53)
        state.SkipWithError("the snapshot does not hold the 50 windows and 3 panels");
}
BENCHMARK(windowListSnapshotWithOwnPanels)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(9)->DisplayAggregatesOnly(true);

// Re-reading the screens (monitors, struts of the docks) after a change notification.
void screensRefresh(benchmark::State& state)
{
    X11Screens& screens = desktop->backend->screens();
    for (auto _ : state) {
        screens.refresh();
        benchmark::DoNotOptimize(screens.screens().size());
    }
}
BENCHMARK(screensRefresh)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(9)->DisplayAggregatesOnly(true);

}  // namespace

namespace {

// The floor under every snapshot: one request and its reply, on this machine as loaded as it is right now.
void roundTrip(benchmark::State& state)
{
    xcb_connection_t* c = desktop->connection;
    for (auto _ : state)
        std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
}
BENCHMARK(roundTrip)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(9)->DisplayAggregatesOnly(true);

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    auto d = std::make_unique<Desktop>();
    if (!bringUp(*d)) {
        std::fprintf(stderr, "tamsinvale_x11_bench: could not bring up Xvfb + Openbox with 50 windows\n");
        return 1;
    }
    desktop = d.get();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    desktop = nullptr;
    d.reset();
    return 0;
}
