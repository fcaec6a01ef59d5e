// The dimmer's event side in virtual time: the shared debounce, full-screen hiding and recovery, screen changes
// and wake, the accessibility observer and the mouse.
#include <gtest/gtest.h>

#include "DimmingTestSupport.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

TEST(FocusDimmerEvents, twoFocusEventsInABurstGiveOneReorderAtOnceAndOneDebouncedLater)
{
    DimmingDesktop d;
    const WindowNumber a = d.window(10, DimmingDesktop::onLeft());
    d.activate(10);
    d.start();
    DimmingLog log;
    d.desktop.scheduler.advance(1.0);
    ASSERT_EQ(d.desktop.server.observerCount(10), 1);

    d.desktop.server.postNotification(10, AXNotification::focusedWindowChanged, AXElement{10, a});
    d.desktop.scheduler.advance(0.01);
    d.desktop.server.postNotification(10, AXNotification::focusedWindowChanged, AXElement{10, a});
    EXPECT_EQ(log.count(QStringLiteral("optimistic reorder screen 1 below last=%1 (source=ax-focus)").arg(a)), 1)
        << log.dump().toStdString();
    EXPECT_EQ(log.count(QStringLiteral("(source=ax-focus-debounced)")), 0);
    d.desktop.scheduler.advance(0.039);
    EXPECT_EQ(log.count(QStringLiteral("(source=ax-focus-debounced)")), 0);
    d.desktop.scheduler.advance(0.002);
    EXPECT_EQ(log.count(QStringLiteral("optimistic reorder screen 1 below last=%1 (source=ax-focus-debounced)").arg(a)), 1)
        << log.dump().toStdString();
    // The verify pass follows 0.03 s after the optimistic one, with the caller's tag.
    d.desktop.scheduler.advance(0.03);
    EXPECT_TRUE(log.has(QStringLiteral("(source=ax-focus-debounced-verify)")));

    // Moves and resizes go through refresh() on the same rate limit.
    d.desktop.scheduler.advance(0.1);
    log.clear();
    d.desktop.server.postNotification(10, AXNotification::windowMoved, AXElement{10, a});
    d.desktop.server.postNotification(10, AXNotification::windowResized, AXElement{10, a});
    EXPECT_TRUE(log.has(QStringLiteral("debouncedRefresh: immediate (source=ax-resize)")));
    d.desktop.scheduler.advance(0.051);
    EXPECT_EQ(log.count(QStringLiteral("debouncedRefresh: executing (source=ax-resize-debounced)")), 1);

    // A left click reorders 0.05 s later.
    log.clear();
    emit d.desktop.workspace.leftMouseDown();
    d.desktop.scheduler.advance(0.051);
    EXPECT_TRUE(log.has(QStringLiteral("(source=mouse-click)")));
}

TEST(FocusDimmerEvents, pictureInPictureIsNotFullScreenButAScreenFillingWindowIs)
{
    DimmingDesktop d;
    DimmingLog log;
    const WindowNumber a = d.window(10, DimmingDesktop::onLeft());
    d.activate(10);
    d.start();

    // A 400 × 300 player that reports full screen is ignored.
    d.desktop.server.window(a)->fullScreen = true;
    d.desktop.server.window(a)->bounds = QRectF(100, 100, 400, 300);
    d.dimmer->refresh();
    EXPECT_EQ(d.dimmer->windowsByScreen().size(), 2u);
    EXPECT_TRUE(log.has(QStringLiteral("isFrontAppFullScreen: AX reports fullscreen but window is not screen-sized (PiP/floating?) - ignoring")));

    // The same window at screen size hides every overlay and starts polling.
    d.desktop.server.window(a)->bounds = QRectF(0, 0, 1512, 982);
    d.dimmer->updateOrdering(QStringLiteral("test"));
    EXPECT_TRUE(d.dimmer->windowsByScreen().empty());
    EXPECT_TRUE(log.has(QStringLiteral("updateOrdering: hide due to fullscreen (source=test)")));
    EXPECT_TRUE(d.dimmer->fullscreenRecoveryPending());
    EXPECT_FALSE(d.dimmer->safetyTimerRunning());

    // Leaving full screen brings the overlays back through the recovery job.
    d.desktop.server.window(a)->fullScreen = false;
    d.desktop.server.window(a)->bounds = DimmingDesktop::onLeft();
    d.desktop.scheduler.advance(0.1);
    EXPECT_TRUE(log.has(QStringLiteral("fullscreenRecovery: fullscreen ended, refreshing")));
    EXPECT_EQ(d.dimmer->windowsByScreen().size(), 2u);
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::left, a));

    // Without accessibility the window-server geometry decides: 2 points off the origin still fills the screen,
    // 4 points off does not; another app's screen-filling window counts as well.
    d.desktop.server.setTrusted(false);
    const WindowNumber video = d.window(30, QRectF(2, 2, 1512, 982));
    d.dimmer->refresh();
    EXPECT_TRUE(d.dimmer->windowsByScreen().empty());
    EXPECT_TRUE(log.has(QStringLiteral("isAnyFullScreenPresent: CG heuristic found fullscreen window")));
    d.desktop.server.window(video)->bounds = QRectF(4, 4, 1512, 982);
    d.desktop.scheduler.advance(0.2);
    EXPECT_EQ(d.dimmer->windowsByScreen().size(), 2u);
}

TEST(FocusDimmerEvents, recoveryGivesUpAfterTwentyAttemptsWithGrowingDelays)
{
    DimmingDesktop d;
    DimmingLog log;
    const WindowNumber a = d.window(10, QRectF(0, 0, 1512, 982));
    d.desktop.server.window(a)->fullScreen = true;
    d.activate(10);
    d.start();
    EXPECT_TRUE(d.dimmer->windowsByScreen().empty());
    EXPECT_TRUE(log.has(QStringLiteral("fullscreenRecovery: started polling for fullscreen exit")));

    // The first poll after 0.1 s, the next after min(0.1 + 0.025 n, 0.5) s: the 19th runs at 6.1 s, the 20th at 6.6 s.
    d.desktop.scheduler.advance(6.5);
    EXPECT_FALSE(log.has(QStringLiteral("fullscreenRecovery: max attempts reached, stopping")));
    EXPECT_EQ(d.dimmer->fullscreenRecoveryAttempts(), 19);
    d.desktop.scheduler.advance(0.15);
    EXPECT_EQ(d.dimmer->fullscreenRecoveryAttempts(), 20);
    EXPECT_TRUE(log.has(QStringLiteral("fullscreenRecovery: max attempts reached, stopping")));
    EXPECT_FALSE(d.dimmer->fullscreenRecoveryPending());

    // Full screen ends unnoticed; the overlays stay hidden until the next activation.
    d.desktop.server.window(a)->fullScreen = false;
    d.desktop.server.window(a)->bounds = DimmingDesktop::onLeft();
    d.desktop.scheduler.advance(10);
    EXPECT_TRUE(d.dimmer->windowsByScreen().empty());
    d.activate(10);
    EXPECT_EQ(d.dimmer->windowsByScreen().size(), 2u);
}

TEST(FocusDimmerEvents, screenChangesRebuildAndWakeRechecksOnSchedule)
{
    DimmingDesktop d;
    DimmingLog log;
    d.window(10, DimmingDesktop::onLeft());
    d.activate(10);
    d.start();
    OverlayPanel* leftBefore = d.overlay(DimmingDesktop::left);

    // Same displays: refreshed, not rebuilt.
    d.desktop.screens.setScreens(d.desktop.screens.screens());
    EXPECT_TRUE(log.has(QStringLiteral("handleScreenConfigurationChange: screen configuration unchanged, refreshing")));
    EXPECT_EQ(d.overlay(DimmingDesktop::left), leftBefore);

    // Unplugging the right display drops every overlay and builds them again for what is left.
    d.desktop.screens.setScreens({d.desktop.screens.screens().first()});
    EXPECT_TRUE(log.has(QStringLiteral("handleScreenConfigurationChange: screen configuration changed from [1, 2] to [1]")));
    EXPECT_EQ(d.dimmer->windowsByScreen().size(), 1u);
    EXPECT_EQ(d.desktop.server.panels().size(), 1);

    // A change of Space (desktop) refreshes, under the notification's own name.
    log.clear();
    emit d.desktop.workspace.activeSpaceChanged();
    EXPECT_TRUE(log.has(QStringLiteral("activeSpaceDidChange notification"))) << log.dump().toStdString();
    EXPECT_TRUE(log.has(QStringLiteral("(source=refresh)")));

    // Wake: the configuration after 0.5 s, refreshes at 2, 5 and 10 s.
    log.clear();
    emit d.desktop.workspace.screensDidWake();
    EXPECT_TRUE(log.has(QStringLiteral("screensDidWake notification")));
    d.desktop.scheduler.advance(0.49);
    EXPECT_FALSE(log.has(QStringLiteral("handleScreenConfigurationChange")));
    d.desktop.scheduler.advance(0.02);
    EXPECT_TRUE(log.has(QStringLiteral("handleScreenConfigurationChange: screen configuration unchanged, refreshing")));
    log.clear();
    d.desktop.scheduler.advance(1.0);  // the change handler's own second refresh at 1.5 s
    const int afterOwn = log.count(QStringLiteral("(source=refresh)"));
    d.desktop.scheduler.advance(0.6);  // 2.1 s
    EXPECT_EQ(log.count(QStringLiteral("(source=refresh)")), afterOwn + 1);
    d.desktop.scheduler.advance(8.0);  // through 10.1 s: two more
    EXPECT_EQ(log.count(QStringLiteral("(source=refresh)")), afterOwn + 3);

    // The dimmer going away cancels what it had scheduled.
    emit d.desktop.workspace.screensDidWake();
    d.dimmer.reset();
    d.desktop.scheduler.advance(20);
    EXPECT_TRUE(d.desktop.server.panels().isEmpty());
}

TEST(FocusDimmerEvents, observerFollowsTheActiveAppAndFailuresAreLogged)
{
    DimmingDesktop d;
    DimmingLog log;
    d.window(10, DimmingDesktop::onLeft());
    d.window(20, DimmingDesktop::onRight());
    d.activate(10);
    d.start();
    EXPECT_EQ(d.dimmer->observedPid(), 10);
    EXPECT_TRUE(log.has(QStringLiteral("AX observing front app pid=10 name=App10")));
    d.activate(20);
    EXPECT_EQ(d.dimmer->observedPid(), 20);
    EXPECT_EQ(d.desktop.server.observerCount(10), 0);
    EXPECT_TRUE(log.has(QStringLiteral("AX observer torn down for pid=10")));

    d.desktop.server.setObserverFailure(AXError::cannotComplete);
    d.activate(10);
    EXPECT_TRUE(log.has(QStringLiteral("AXObserverCreate failed for pid=10 status=-25204")));
    EXPECT_EQ(d.dimmer->observedPid(), std::nullopt);
}
