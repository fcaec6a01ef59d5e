// Usage tracking on the simulated desktop: the stored forms, the 90-day prune at load and at every save, the
// first run, `start` once only, and the moment since which a running application counts as inactive.
#include <gtest/gtest.h>

#include "inactive/AppUsageTracker.h"
#include "platform/fake/FakeDesktop.h"

using namespace tamsinvale;

namespace {

constexpr double day = 86400;

QDateTime now(const FakeDesktop& d) { return d.scheduler.currentDateTime(); }

double secondsOf(const QDateTime& date) { return date.toMSecsSinceEpoch() / 1000.0; }

QVariantMap storedDates(const FakeDesktop& d)
{
    return d.defaults.values().value(UsageRecord::storageKey).toMap();
}

RunningApp appLaunchedAt(const FakeDesktop& d, std::int32_t pid, const QString& bundle, const QDateTime& launch)
{
    RunningApp app = d.makeApp(pid, bundle, bundle);
    app.launchDate = launch;
    return app;
}

}  // namespace

TEST(AppUsageTracker, entriesOlderThanNinetyDaysAreDroppedAtLoadAndNeverWrittenBack)
{
    FakeDesktop d;
    const QDateTime t = now(d);
    d.defaults.setValue(UsageRecord::storageKey,
                        QVariantMap{{"org.old", secondsOf(t.addSecs(qint64(-91 * day)))},
                                    {"org.recent", secondsOf(t.addSecs(qint64(-89 * day)))},
                                    {"org.integer", qint64(secondsOf(t.addSecs(-3600)))}});
    d.defaults.setValue(UsageRecord::trackingSinceKey, secondsOf(t.addSecs(qint64(-200 * day))));
    AppUsageTracker tracker(d.defaults, d.workspace, d.scheduler);
    EXPECT_FALSE(tracker.record().lastActivated.contains("org.old"));
    EXPECT_TRUE(tracker.record().lastActivated.contains("org.recent"));
    EXPECT_EQ(tracker.record().lastActivated.value("org.integer"), t.addSecs(-3600));

    // The next save writes what was loaded, without the dropped entry; and each save prunes again.
    d.workspace.addApplication(d.makeApp(10, "org.editor", "Editor"));
    tracker.start();
    d.workspace.setFrontmost(10);
    QVariantMap stored = storedDates(d);
    EXPECT_FALSE(stored.contains("org.old"));
    EXPECT_TRUE(stored.contains("org.recent"));
    EXPECT_DOUBLE_EQ(stored.value("org.editor").toDouble(), secondsOf(t));

    d.scheduler.advance(2 * day);  // "org.recent" is now 91 days old
    d.workspace.setFrontmost(10);
    stored = storedDates(d);
    EXPECT_FALSE(stored.contains("org.recent"));
    EXPECT_FALSE(tracker.record().lastActivated.contains("org.recent"));
    EXPECT_DOUBLE_EQ(stored.value("org.editor").toDouble(), secondsOf(now(d)));
}

TEST(AppUsageTracker, theFirstRunWritesTrackingSinceAndLaterRunsKeepIt)
{
    FakeDesktop d;
    const QDateTime firstRun = now(d);
    {
        AppUsageTracker tracker(d.defaults, d.workspace, d.scheduler);
        EXPECT_EQ(tracker.trackingSince(), firstRun);
    }
    const QVariant stored = d.defaults.values().value(UsageRecord::trackingSinceKey);
    ASSERT_EQ(stored.metaType(), QMetaType::fromType<double>());
    EXPECT_DOUBLE_EQ(stored.toDouble(), secondsOf(firstRun));

    d.scheduler.advance(5 * day);
    AppUsageTracker later(d.defaults, d.workspace, d.scheduler);
    EXPECT_EQ(later.trackingSince(), firstRun);
    EXPECT_DOUBLE_EQ(d.defaults.values().value(UsageRecord::trackingSinceKey).toDouble(), secondsOf(firstRun));
}

TEST(AppUsageTracker, storedValuesOfTheWrongTypeReadAsAbsent)
{
    FakeDesktop d;
    d.defaults.setValue(UsageRecord::storageKey,
                        QVariantMap{{"org.a", secondsOf(now(d))}, {"org.b", QStringLiteral("yesterday")}});
    d.defaults.setValue(UsageRecord::trackingSinceKey, QStringLiteral("long ago"));
    AppUsageTracker tracker(d.defaults, d.workspace, d.scheduler);
    EXPECT_TRUE(tracker.record().lastActivated.isEmpty());
    // Like a first run: tracking begins now and says so in the defaults.
    EXPECT_EQ(tracker.trackingSince(), now(d));
    EXPECT_DOUBLE_EQ(d.defaults.values().value(UsageRecord::trackingSinceKey).toDouble(), secondsOf(now(d)));

    d.defaults.setValue(UsageRecord::storageKey, QStringLiteral("not a dictionary"));
    AppUsageTracker again(d.defaults, d.workspace, d.scheduler);
    EXPECT_TRUE(again.record().lastActivated.isEmpty());
}

TEST(AppUsageTracker, startRecordsTheFrontmostAppAtOnceAndInstallsOneObserverHoweverOftenCalled)
{
    FakeDesktop d;
    d.workspace.addApplication(d.makeApp(10, "org.editor", "Editor"));
    d.workspace.addApplication(d.makeApp(11, "org.mail", "Mail"));
    RunningApp nameless = d.makeApp(12, "", "Nameless");
    nameless.bundleIdentifier.reset();
    d.workspace.addApplication(nameless);
    d.workspace.setFrontmost(10);
    d.scheduler.advance(60);  // the activation above came before tracking began

    AppUsageTracker tracker(d.defaults, d.workspace, d.scheduler);
    EXPECT_FALSE(tracker.isStarted());
    tracker.start();
    EXPECT_TRUE(tracker.isStarted());
    EXPECT_EQ(tracker.record().lastActivated.value("org.editor"), now(d));
    EXPECT_EQ(storedDates(d).size(), 1);

    tracker.start();
    d.scheduler.advance(60);
    const int writesBefore = d.defaults.writeCount();
    d.workspace.setFrontmost(11);
    EXPECT_EQ(d.defaults.writeCount(), writesBefore + 1) << "one observer, one save per activation";
    EXPECT_EQ(tracker.record().lastActivated.value("org.mail"), now(d));

    // An application without a bundle identifier leaves no trace.
    d.workspace.setFrontmost(12);
    EXPECT_EQ(d.defaults.writeCount(), writesBefore + 1);
    EXPECT_EQ(tracker.record().lastActivated.size(), 2);
}

TEST(AppUsageTracker, lastActiveFollowsTheRecordUnlessRelaunchedAndFallsBackToLaunchThenTrackingSince)
{
    FakeDesktop d;
    const QDateTime t = now(d);
    d.defaults.setValue(UsageRecord::trackingSinceKey, secondsOf(t.addSecs(qint64(-30 * day))));
    d.defaults.setValue(UsageRecord::storageKey, QVariantMap{{"org.editor", secondsOf(t.addSecs(qint64(-5 * day)))}});
    AppUsageTracker tracker(d.defaults, d.workspace, d.scheduler);

    // Launched before its last activation: the activation counts.
    EXPECT_EQ(tracker.lastActive(appLaunchedAt(d, 10, "org.editor", t.addSecs(qint64(-9 * day)))),
              t.addSecs(qint64(-5 * day)));
    // Relaunched after it: idle only since the relaunch.
    EXPECT_EQ(tracker.lastActive(appLaunchedAt(d, 10, "org.editor", t.addSecs(qint64(-2 * day)))),
              t.addSecs(qint64(-2 * day)));
    // Never activated while tracked: since its launch.
    EXPECT_EQ(tracker.lastActive(appLaunchedAt(d, 11, "org.mail", t.addSecs(qint64(-3 * day)))),
              t.addSecs(qint64(-3 * day)));
    // Neither an entry nor a launch date: since tracking began.
    EXPECT_EQ(tracker.lastActive(appLaunchedAt(d, 12, "org.daemon", QDateTime())), t.addSecs(qint64(-30 * day)));
    RunningApp nameless = appLaunchedAt(d, 13, "", QDateTime());
    nameless.bundleIdentifier.reset();
    EXPECT_EQ(tracker.lastActive(nameless), t.addSecs(qint64(-30 * day)));
}
