// Inactive apps budget: building the list with 200 running applications (≤ 2 ms), from the workspace and the
// usage record, alone and with the window's rows and their relative-date texts.
#include <benchmark/benchmark.h>

#include "inactive/AppUsageTracker.h"
#include "inactive/InactiveAppsList.h"
#include "inactive/InactiveAppsView.h"
#include "platform/fake/FakeDesktop.h"
#include "settings/SettingsStore.h"

using namespace tamsinvale;

namespace {

constexpr int runningApps = 200;

// 200 regular applications, launched between 1 and 200 hours ago; half of them activated since, at various times.
struct Rig {
    Rig()
    {
        const QDateTime now = desktop.scheduler.currentDateTime();
        QVariantMap record;
        for (int i = 0; i < runningApps; ++i) {
            const QString bundle = QStringLiteral("org.example.app%1").arg(i);
            RunningApp app = desktop.makeApp(2000 + i, bundle, QStringLiteral("App %1").arg(i));
            app.launchDate = now.addSecs(-qint64((i % 200 + 1) * 3600));
            if (i % 7 == 0)
                app.activationPolicy = ActivationPolicy::accessory;
            desktop.workspace.addApplication(app);
            if (i % 2 == 0)
                record.insert(bundle, UsageRecord::secondsSince1970(now.addSecs(-qint64((i * 37) % 150) * 3600)));
        }
        desktop.defaults.setValue(UsageRecord::storageKey, record);
        desktop.workspace.setFrontmost(2001);
    }
    FakeDesktop desktop;
    SettingsStore settings{desktop.defaults};
    AppUsageTracker tracker{desktop.defaults, desktop.workspace, desktop.scheduler};
};

void BM_BuildInactiveList200(benchmark::State& state)
{
    Rig rig;
    InactiveListRules rules;
    rules.ownBundleIdentifier = rig.desktop.workspace.ownBundleIdentifier();
    rules.ownPid = rig.desktop.workspace.ownPid();
    rules.activeNowPid = 2001;
    std::size_t listed = 0;
    for (auto _ : state) {
        const QList<InactiveAppItem> items = InactiveAppsList::build(
            rig.desktop.workspace.runningApplications(),
            [&rig](const RunningApp& app) { return rig.tracker.lastActive(app); }, rules,
            rig.desktop.scheduler.currentDateTime(), 48);
        listed = std::size_t(items.size());
        benchmark::DoNotOptimize(items);
    }
    state.counters["listed"] = double(listed);
}
BENCHMARK(BM_BuildInactiveList200)->Unit(benchmark::kMicrosecond);

// What a showing computes: the list, the rows' names and "Last used …" texts (ICU), the threshold menu.
void BM_InactiveWindowRows200(benchmark::State& state)
{
    Rig rig;
    AppUsageTracker* tracker = &rig.tracker;
    InactiveAppsView view(
        rig.desktop.platform(), rig.settings, [tracker](const RunningApp& app) { return tracker->lastActive(app); },
        2001, QLocale(QLocale::English, QLocale::UnitedStates));
    for (auto _ : state) {
        view.reload();
        benchmark::DoNotOptimize(view.rows());
    }
    state.counters["rows"] = double(view.rows().size());
}
BENCHMARK(BM_InactiveWindowRows200)->Unit(benchmark::kMicrosecond);

}  // namespace
