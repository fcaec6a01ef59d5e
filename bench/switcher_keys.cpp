// Switcher logic budgets with 500 discovered applications: making a view with its row list (what readying the next
// showing costs), and one key from the router to the activation request of a running target (the logic's share of
// the 3 ms key-to-active budget).
#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "platform/fake/FakeDesktop.h"
#include "switcher/AppDiscoveryStore.h"
#include "switcher/BackgroundQueue.h"
#include "switcher/ShortcutStore.h"
#include "switcher/SwitcherActivity.h"
#include "switcher/SwitcherKeyRouter.h"
#include "switcher/SwitcherView.h"

using namespace tamsinvale;

namespace {

constexpr int appCount = 500;

struct Rig {
    Rig()
    {
        QDir().mkpath(dir.path() + "/applications");
        for (int i = 0; i < appCount; ++i) {
            QFile f(dir.path() + QStringLiteral("/applications/app%1.desktop").arg(i));
            if (f.open(QIODevice::WriteOnly))
                f.write(QStringLiteral("[Desktop Entry]\nType=Application\nName=App %1\n").arg(i).toUtf8());
        }
        DiscoveryConfiguration c;
        c.roots = {dir.path() + "/applications"};
        discovery = std::make_unique<AppDiscoveryStore>(c, queue);
        discovery->refreshInBackground();
        desktop.scheduler.runPending();
        // Every letter bound to some app, a few as two-key sequences; the target runs.
        const QList<DiscoveredApp>& apps = discovery->apps();
        for (int i = 0; i < 26; ++i) {
            store.setDiscoveredKey(QString(QChar('a' + i)), apps[i * 7]);
            if (i % 3 == 0)
                store.setDiscoveredSecondKey(QString(QChar('a' + (i + 1) % 26)), apps[i * 7]);
        }
        desktop.workspace.addApplication(desktop.makeApp(4242, apps[7].id, apps[7].name));  // bound to b
    }
    QTemporaryDir dir;
    FakeDesktop desktop;
    InlineBackgroundQueue queue{desktop.scheduler};
    std::unique_ptr<AppDiscoveryStore> discovery;
    ShortcutStore store{desktop.platform()};
};

void BM_Rows500Apps(benchmark::State& state)
{
    Rig rig;
    SwitcherKeyRouter router;
    for (auto _ : state) {
        SwitcherView view(rig.store, *rig.discovery, router, rig.desktop.scheduler);
        benchmark::DoNotOptimize(view.rows().size());
    }
}
BENCHMARK(BM_Rows500Apps)->Unit(benchmark::kMicrosecond);

void BM_KeyToActivationRequest500Apps(benchmark::State& state)
{
    Rig rig;
    for (auto _ : state) {
        SwitcherKeyRouter router;
        SwitcherView view(rig.store, *rig.discovery, router, rig.desktop.scheduler);
        view.onClose = [] {};
        SwitcherActivity::shared().setMode(SwitcherActivity::Kind::app(view.sessionId()));
        router.registerHandler([&view](const SwitcherKeyEvent& e) { return view.handleKey(e); });
        router.route(SwitcherKeyEvent{11, QStringLiteral("b"), 0});
        rig.desktop.scheduler.runPending();
    }
    state.counters["activations"] = double(rig.desktop.workspace.activations().size());
}
BENCHMARK(BM_KeyToActivationRequest500Apps)->Unit(benchmark::kMicrosecond);

}  // namespace
