// Permission reads, prompts and polling in virtual time, from the launch read through the start-up check at
// 0.5 s to grants noticed while running, and the banner they lead to.
#include <gtest/gtest.h>

#include <QSignalSpy>

#include "ServicesTestSupport.h"
#include "app/TamsinvaleApp.h"
#include "platform/fake/FakeDesktop.h"
#include "services/PermissionsBanner.h"
#include "services/PermissionsMonitor.h"
#include "services/SystemServices.h"
#include "settings/SettingsStore.h"

using namespace tamsinvale;
using tamsinvale::test::CategoryLog;

namespace {

// The application started over the simulated desktop with the system services wired in, as at launch.
struct Launch {
    FakeDesktop desktop;
    CategoryLog log{"tamsinvale.permissions"};
    std::unique_ptr<SettingsStore> settings;
    std::unique_ptr<SystemServices> system;
    std::unique_ptr<TamsinvaleApp> app;

    Launch(bool accessibility, bool screenRecording)
    {
        desktop.server.setTrusted(accessibility);
        desktop.server.setScreenRecordingGranted(screenRecording);
        settings = std::make_unique<SettingsStore>(desktop.defaults);
        system = std::make_unique<SystemServices>(desktop.platform(), SystemBackends{});
        AppServices services;
        system->install(services);
        app = std::make_unique<TamsinvaleApp>(desktop.platform(), *settings, services);
        app->start();
    }
    PermissionsMonitor& monitor() { return system->permissions(); }
    int accessibilityPrompts() const { return desktop.server.trustRequests(); }
    int screenRecordingRequests() const { return desktop.server.screenRecordingRequests(); }
};

}  // namespace

TEST(PermissionsMonitor, bothGrantedAtLaunchNeverPromptsOrPolls)
{
    Launch l(true, true);
    EXPECT_EQ(l.log.lines(), QStringList{"info: launch status: accessibility=true screenRecording=true"});
    l.desktop.scheduler.advance(10);
    EXPECT_EQ(l.accessibilityPrompts(), 0);
    EXPECT_EQ(l.screenRecordingRequests(), 0);
    EXPECT_FALSE(l.monitor().isPolling());
    EXPECT_FALSE(PermissionsBanner::from(l.monitor()).visible);
}

TEST(PermissionsMonitor, onlyScreenRecordingMissingIsRequestedAtOnceAfterTheStartupDelay)
{
    Launch l(true, false);
    EXPECT_EQ(l.log.lines(), QStringList{"info: launch status: accessibility=true screenRecording=false"});
    EXPECT_FALSE(l.monitor().screenRecordingGrantedAtLaunch());
    l.desktop.scheduler.advance(0.49);
    EXPECT_EQ(l.screenRecordingRequests(), 0);
    l.desktop.scheduler.advance(0.01);  // the check at 0.5 s; the request follows with no further delay
    EXPECT_EQ(l.screenRecordingRequests(), 1);
    EXPECT_EQ(l.accessibilityPrompts(), 0);
    EXPECT_TRUE(l.monitor().isPolling());
    const PermissionsBanner banner = PermissionsBanner::from(l.monitor());
    EXPECT_TRUE(banner.visible);
    EXPECT_EQ(banner.accessibility.state, PermissionRow::State::granted);
    EXPECT_EQ(banner.screenRecording.state, PermissionRow::State::missing);
    EXPECT_EQ(banner.screenRecording.symbol, PermissionsBanner::missingSymbol);
}

TEST(PermissionsMonitor, bothMissingPromptsForAccessibilityThenScreenRecordingOneAndAHalfSecondsLater)
{
    Launch l(false, false);
    l.desktop.scheduler.advance(0.5);
    EXPECT_EQ(l.accessibilityPrompts(), 1);
    EXPECT_EQ(l.screenRecordingRequests(), 0);
    l.desktop.scheduler.advance(1.49);
    EXPECT_EQ(l.screenRecordingRequests(), 0);
    l.desktop.scheduler.advance(0.01);
    EXPECT_EQ(l.screenRecordingRequests(), 1);
    l.desktop.scheduler.advance(30);
    EXPECT_EQ(l.accessibilityPrompts(), 1);  // each is asked for once; polling only reads
    EXPECT_EQ(l.screenRecordingRequests(), 1);
    const PermissionsBanner banner = PermissionsBanner::from(l.monitor());
    EXPECT_EQ(banner.accessibility.symbol, PermissionsBanner::missingSymbol);
    EXPECT_EQ(banner.screenRecording.symbol, PermissionsBanner::missingSymbol);
}

TEST(PermissionsMonitor, grantsWhileRunningAreSeenWithinTwoSecondsAndScreenRecordingAsksForARelaunch)
{
    Launch l(false, false);
    QSignalSpy screenRecording(&l.monitor(), &PermissionsMonitor::screenRecordingGrantedChanged);
    l.desktop.scheduler.advance(3);
    l.log.clear();

    l.desktop.server.setScreenRecordingGranted(true);
    const double grantedAt = l.desktop.scheduler.now();
    while (!l.monitor().screenRecordingGranted() && l.desktop.scheduler.now() < grantedAt + 5)
        l.desktop.scheduler.advance(0.05);
    EXPECT_LE(l.desktop.scheduler.now() - grantedAt, 2.0 + 1e-9);
    EXPECT_EQ(screenRecording.count(), 1);
    EXPECT_EQ(l.log.lines(), QStringList{"info: screenRecording changed: true"});
    PermissionsBanner banner = PermissionsBanner::from(l.monitor());
    EXPECT_EQ(banner.screenRecording.state, PermissionRow::State::grantedNeedsRelaunch);
    EXPECT_EQ(banner.screenRecording.symbol, PermissionsBanner::relaunchSymbol);
    EXPECT_EQ(banner.screenRecording.note,
              "Screen Recording was granted. Relaunch Tamsinvale for window titles to appear.");
    EXPECT_TRUE(l.monitor().isPolling());  // accessibility is still missing

    // Accessibility granted too: seen, logged, and with nothing left to wait for the polling stops; the
    // relaunch hint stays, because the titles still need the relaunch.
    l.desktop.server.setTrusted(true);
    l.desktop.scheduler.advance(2.0);
    EXPECT_TRUE(l.monitor().accessibilityGranted());
    EXPECT_TRUE(l.log.has("info: accessibility changed: true"));
    EXPECT_FALSE(l.monitor().isPolling());
    banner = PermissionsBanner::from(l.monitor());
    EXPECT_TRUE(banner.visible);
    EXPECT_EQ(banner.accessibility.state, PermissionRow::State::granted);
    EXPECT_TRUE(banner.accessibility.symbol.isEmpty());
    EXPECT_EQ(banner.screenRecording.state, PermissionRow::State::grantedNeedsRelaunch);
}

TEST(PermissionsMonitor, aPermissionTakenAwayWhileRunningIsLoggedAsChangedToFalse)
{
    Launch l(false, true);
    l.desktop.scheduler.advance(1);
    l.log.clear();
    l.desktop.server.setScreenRecordingGranted(false);
    l.desktop.scheduler.advance(2);
    EXPECT_EQ(l.log.lines(), QStringList{"info: screenRecording changed: false"});
    EXPECT_EQ(PermissionsBanner::from(l.monitor()).screenRecording.state, PermissionRow::State::missing);
}
