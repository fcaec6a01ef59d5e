// The list rules: regular running applications only, never Finder, Tamsinvale or the user's excluded apps, the
// application in front counts as active now, strictly earlier than the cut-off, longest idle first.
#include <gtest/gtest.h>

#include "inactive/InactiveAppsList.h"

using namespace tamsinvale;

namespace {

const QDateTime now(QDate(2026, 3, 15), QTime(9, 30), Qt::UTC);

RunningApp app(std::int32_t pid, const QString& bundle, const QString& name, double hoursIdle,
               ActivationPolicy policy = ActivationPolicy::regular)
{
    RunningApp a;
    a.pid = pid;
    if (!bundle.isEmpty())
        a.bundleIdentifier = bundle;
    a.localizedName = name;
    a.activationPolicy = policy;
    a.launchDate = now.addMSecs(-qint64(hoursIdle * 3600 * 1000));
    return a;
}

QList<std::int32_t> pids(const QList<InactiveAppItem>& items)
{
    QList<std::int32_t> out;
    for (const InactiveAppItem& i : items)
        out << i.pid();
    return out;
}

QList<InactiveAppItem> build(const QList<RunningApp>& running, double hours, InactiveListRules rules = {})
{
    // Here an application's launch date stands for its last activity.
    return InactiveAppsList::build(running, [](const RunningApp& a) { return a.launchDate; }, rules, now, hours);
}

}  // namespace

TEST(InactiveAppsList, onlyRegularRunningAppsOtherThanFinderTamsinvaleAndTheExcludedAreListed)
{
    RunningApp gone = app(6, "org.gone", "Gone", 100);
    gone.terminated = true;
    const QList<RunningApp> running{
        app(1, "org.editor", "Editor", 100),
        app(2, "com.apple.finder", "Finder", 1000),
        app(3, "org.helper", "Helper", 100, ActivationPolicy::accessory),
        app(4, "org.agent", "Agent", 100, ActivationPolicy::prohibited),
        app(5, "org.tamsinvale.Tamsinvale", "Tamsinvale", 100),
        gone,
        app(7, "org.mail", "Mail", 100),
        app(8, "", "Scratch", 100),  // no bundle identifier: matched by its name
        app(9, "org.music", "Music", 100),
    };
    InactiveListRules rules;
    rules.ownBundleIdentifier = QStringLiteral("org.tamsinvale.Tamsinvale");
    rules.ownPid = 5;
    EXPECT_EQ(pids(build(running, 48, rules)), (QList<std::int32_t>{1, 7, 9, 8}));

    rules.excluded = {QStringLiteral("org.mail"), QStringLiteral("Scratch")};
    EXPECT_EQ(pids(build(running, 48, rules)), (QList<std::int32_t>{1, 9}));

    // The application the user is working in is active now, whatever its record says.
    rules.activeNowPid = 9;
    EXPECT_EQ(pids(build(running, 48, rules)), (QList<std::int32_t>{1}));
}

TEST(InactiveAppsList, theCutOffIsStrictAndTheLongestIdleComeFirst)
{
    const QList<RunningApp> running{
        app(1, "org.at", "At the cut-off", 72),
        app(2, "org.eighty", "Eighty hours", 80),
        app(3, "org.week", "A week", 170),
        app(4, "org.fresh", "Fresh", 2),
        app(5, "org.b", "beta", 100),
        app(6, "org.a", "Alpha", 100),
    };
    // "3 days": exactly 72 hours is not idle long enough; 80 hours is.
    EXPECT_EQ(pids(build(running, 72)), (QList<std::int32_t>{3, 6, 5, 2}));
    EXPECT_EQ(pids(build(running, 71.99)), (QList<std::int32_t>{3, 6, 5, 2, 1}));
    EXPECT_EQ(pids(build(running, 168)), (QList<std::int32_t>{3}));
    EXPECT_TRUE(build(running, 1000).isEmpty());
}

TEST(InactiveAppsList, namesAndDisplayKeysFallBackToTheBundleIdentifierThenUnknown)
{
    InactiveAppItem item{app(1, "org.editor", "", 10), now};
    EXPECT_EQ(item.displayName(), "org.editor");
    EXPECT_EQ(InactiveAppsList::displayKey(item.app), "org.editor");
    item.app.bundleIdentifier.reset();
    EXPECT_EQ(item.displayName(), "Unknown");
    EXPECT_EQ(InactiveAppsList::displayKey(item.app), "Unknown");
    item.app.localizedName = QStringLiteral("Editor");
    EXPECT_EQ(item.displayName(), "Editor");
    EXPECT_EQ(InactiveAppsList::displayKey(item.app), "Editor");
}
