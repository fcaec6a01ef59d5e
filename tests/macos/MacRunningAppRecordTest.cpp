// NSRunningApplication records to RunningApp: the activation policy read from the system's numbering (an unknown
// kind never passes for an ordinary application), absent identifiers kept absent, everything else carried over.
#include <gtest/gtest.h>

#include "platform/macos/portable/MacRunningAppRecord.h"

using namespace tamsinvale;

TEST(MacRunningApp, policiesFollowTheSystemNumbering)
{
    EXPECT_EQ(activationPolicyFromSystem(0), ActivationPolicy::regular);
    EXPECT_EQ(activationPolicyFromSystem(1), ActivationPolicy::accessory);
    EXPECT_EQ(activationPolicyFromSystem(2), ActivationPolicy::prohibited);
    for (const long long unknown : {3LL, -1LL, 1LL << 40})
        EXPECT_EQ(activationPolicyFromSystem(unknown), ActivationPolicy::prohibited) << unknown;
}

TEST(MacRunningApp, aRecordCarriesEveryField)
{
    MacRunningAppRecord r;
    r.processIdentifier = 812;
    r.bundleIdentifier = QStringLiteral("com.example.Editor");
    r.localizedName = QStringLiteral("Editor");
    r.activationPolicy = 1;
    r.launchDate = QDateTime::fromMSecsSinceEpoch(1700000000000LL, Qt::UTC);
    r.bundlePath = QStringLiteral("/Applications/Editor.app");
    r.terminated = true;
    r.finishedLaunching = false;
    const RunningApp app = runningAppFromRecord(r);
    EXPECT_EQ(app.pid, 812);
    EXPECT_EQ(app.bundleIdentifier, QStringLiteral("com.example.Editor"));
    EXPECT_EQ(app.localizedName, QStringLiteral("Editor"));
    EXPECT_EQ(app.activationPolicy, ActivationPolicy::accessory);
    EXPECT_EQ(app.launchDate, r.launchDate);
    EXPECT_EQ(app.bundlePath, QStringLiteral("/Applications/Editor.app"));
    EXPECT_TRUE(app.terminated);
    EXPECT_FALSE(app.finishedLaunching);
}

TEST(MacRunningApp, aToolWithoutBundleKeepsItsIdentifierAbsent)
{
    // A process started from a shell has no bundle identifier and no launch date from Launch Services.
    MacRunningAppRecord r;
    r.processIdentifier = 4242;
    r.localizedName = QStringLiteral("python3");
    const RunningApp app = runningAppFromRecord(r);
    EXPECT_FALSE(app.bundleIdentifier.has_value());
    EXPECT_FALSE(app.launchDate.isValid());
    EXPECT_TRUE(app.bundlePath.isEmpty());
    EXPECT_EQ(app.activationPolicy, ActivationPolicy::regular);
}
