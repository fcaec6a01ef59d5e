// Quick dim, clearing inactive screens, forced covers and switching dimming off, on the simulated desktop.
#include <gtest/gtest.h>

#include "DimmingTestSupport.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

TEST(FocusDimmerModes, quickDimBringsTheAppClearsOtherScreensAndASecondPressRestores)
{
    DimmingDesktop d;
    DimmingLog log;
    const WindowNumber mail = d.window(10, DimmingDesktop::onRight());
    const WindowNumber notes = d.window(20, DimmingDesktop::onLeft());
    d.window(30, DimmingDesktop::onRight(1600, 50));
    d.settings.set(&Settings::quickDimAppID, std::optional<QString>(QStringLiteral("org.example.app20")));
    d.activate(10);
    d.start();

    d.dimmer->enterQuickDimMode();
    EXPECT_TRUE(log.has(QStringLiteral("enterQuickDimMode (was off)")));
    EXPECT_EQ(d.media.calls, QStringList{QStringLiteral("pause")});
    EXPECT_TRUE(d.dimmer->quickDimModeActive());
    EXPECT_EQ(d.desktop.workspace.frontmostApplication()->pid, 20);
    // The app came to front: the anchor is its screen, the other screen is covered whatever it holds.
    EXPECT_FALSE(d.dimmer->quickDimAwaitingApp());
    EXPECT_EQ(d.dimmer->clearInactiveScreensAnchorDisplayID(), DimmingDesktop::left);
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::left, notes));
    EXPECT_TRUE(d.coversAll(DimmingDesktop::right));
    EXPECT_TRUE(log.has(QStringLiteral("updateOrdering: screen 2 cleared — inactive screen fully covered (source=")));

    // Second press while it is still in front: the previous app returns and normal dimming resumes.
    d.dimmer->enterQuickDimMode();
    EXPECT_TRUE(log.has(QStringLiteral("enterQuickDimMode: second press without switching — restoring previous app")));
    EXPECT_FALSE(d.dimmer->quickDimModeActive());
    EXPECT_FALSE(d.dimmer->clearInactiveScreensActive());
    EXPECT_EQ(d.media.calls, (QStringList{QStringLiteral("pause"), QStringLiteral("resume")}));
    EXPECT_EQ(d.desktop.workspace.frontmostApplication()->pid, 10);
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::right, mail));

    // A previous app that has quit is not brought back.
    d.dimmer->enterQuickDimMode();
    d.desktop.workspace.terminate(10);
    const int activations = int(d.desktop.workspace.activations().size());
    d.dimmer->enterQuickDimMode();
    EXPECT_EQ(int(d.desktop.workspace.activations().size()), activations);
    EXPECT_FALSE(d.dimmer->quickDimModeActive());
}

TEST(FocusDimmerModes, quickDimWithoutItsAppAnchorsOnTheCurrentScreenAtOnceOrAfterTwoSeconds)
{
    DimmingDesktop d;
    DimmingLog log;
    d.window(10, DimmingDesktop::onRight());
    d.activate(10);
    d.start();

    // Nothing configured: clearing starts at once around the focused screen.
    d.dimmer->enterQuickDimMode();
    EXPECT_TRUE(log.has(QStringLiteral("activateQuickDimApp: no app configured")));
    EXPECT_EQ(d.dimmer->clearInactiveScreensAnchorDisplayID(), DimmingDesktop::right);
    EXPECT_TRUE(d.coversAll(DimmingDesktop::left));
    d.dimmer->applyEnabledSetting();  // still enabled: a refresh, the mode stays
    EXPECT_TRUE(d.dimmer->quickDimModeActive());

    // Disabling dimming in quick dim resumes media and ends every temporary state.
    d.settings.set(&Settings::focusDimEnabled, false);
    d.dimmer->applyEnabledSetting();
    EXPECT_TRUE(log.has(QStringLiteral("applyEnabledSetting: focus dim disabled — ending temporary modes and hiding")));
    EXPECT_EQ(d.media.calls, (QStringList{QStringLiteral("pause"), QStringLiteral("resume")}));
    EXPECT_FALSE(d.dimmer->quickDimModeActive());
    EXPECT_FALSE(d.dimmer->clearInactiveScreensActive());
    EXPECT_TRUE(d.dimmer->windowsByScreen().empty());

    // A configured app that is neither running nor installed: logged, and after 2 s the clearing anchors anyway.
    d.settings.set(&Settings::focusDimEnabled, true);
    d.dimmer->applyEnabledSetting();
    d.settings.set(&Settings::quickDimAppID, std::optional<QString>(QStringLiteral("org.example.absent")));
    log.clear();
    d.dimmer->enterQuickDimMode();
    EXPECT_TRUE(log.has(QStringLiteral("activateQuickDimApp: app 'org.example.absent' not found")));
    EXPECT_TRUE(d.dimmer->quickDimAwaitingApp());
    EXPECT_EQ(d.dimmer->clearInactiveScreensAnchorDisplayID(), std::nullopt);
    EXPECT_FALSE(log.has(QStringLiteral("cleared — inactive screen fully covered")));
    EXPECT_TRUE(log.has(QStringLiteral("updateOrdering: waiting for quick-dim app before clearing screens (source=")));
    d.desktop.scheduler.advance(1.9);
    EXPECT_TRUE(d.dimmer->quickDimAwaitingApp());
    d.desktop.scheduler.advance(0.2);
    EXPECT_TRUE(log.has(QStringLiteral("enterQuickDimMode: quick app did not come to front — anchoring on current screen")));
    EXPECT_FALSE(d.dimmer->quickDimAwaitingApp());
    EXPECT_EQ(d.dimmer->clearInactiveScreensAnchorDisplayID(), DimmingDesktop::right);
    EXPECT_TRUE(log.has(QStringLiteral("updateOrdering: screen 1 cleared — inactive screen fully covered (source=refresh)")));

    // An installed app that is not running is opened and activated.
    d.dimmer->applyEnabledSetting();
    d.desktop.workspace.installApplication(QStringLiteral("org.example.app40"), QStringLiteral("/apps/forty.desktop"));
    d.desktop.workspace.scriptOpen(QStringLiteral("/apps/forty.desktop"), true,
                                   d.desktop.makeApp(40, QStringLiteral("org.example.app40"), QStringLiteral("Forty")));
    d.settings.set(&Settings::quickDimAppID, std::optional<QString>(QStringLiteral("org.example.app40")));
    d.dimmer->exitQuickDimMode();
    d.dimmer->enterQuickDimMode();
    EXPECT_EQ(d.desktop.workspace.openRequests().last(), QStringLiteral("/apps/forty.desktop"));
}

TEST(FocusDimmerModes, clearingInactiveScreensEndsWhenTheFocusMovesAndWorksWithDimmingOff)
{
    DimmingDesktop d;
    DimmingLog log;
    const WindowNumber left = d.window(10, DimmingDesktop::onLeft());
    const WindowNumber right = d.window(20, DimmingDesktop::onRight());
    d.activate(10);
    d.start();

    d.dimmer->toggleClearInactiveScreens();
    EXPECT_TRUE(log.has(QStringLiteral("clearInactiveScreens: on")));
    EXPECT_EQ(d.dimmer->clearInactiveScreensAnchorDisplayID(), DimmingDesktop::left);
    EXPECT_TRUE(d.coversAll(DimmingDesktop::right));
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::left, left));

    // Clicking a window on the other screen ends the mode; normal dimming resumes there.
    d.activate(20);
    EXPECT_TRUE(log.has(QStringLiteral("updateOrdering: focus moved to screen 2 — ending clear-inactive-screens mode (source=refresh)")));
    EXPECT_FALSE(d.dimmer->clearInactiveScreensActive());
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::right, right));

    // With dimming off, clearing still shows overlays; turning it off hides them again.
    d.settings.set(&Settings::focusDimEnabled, false);
    d.dimmer->applyEnabledSetting();
    EXPECT_TRUE(d.dimmer->windowsByScreen().empty());
    d.dimmer->toggleClearInactiveScreens();
    EXPECT_EQ(d.dimmer->windowsByScreen().size(), 2u);
    EXPECT_TRUE(d.coversAll(DimmingDesktop::left));
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::right, right));
    d.dimmer->toggleClearInactiveScreens();
    EXPECT_TRUE(log.has(QStringLiteral("clearInactiveScreens: off")));
    EXPECT_TRUE(d.dimmer->windowsByScreen().empty());
}

TEST(FocusDimmerModes, aScreenAWindowLeftStaysCoveredUntilTheUserWorksThereAgain)
{
    DimmingDesktop d;
    DimmingLog log;
    const WindowNumber a = d.window(10, DimmingDesktop::onLeft());
    const WindowNumber other = d.window(20, DimmingDesktop::onLeft(50, 50));
    d.activate(10);
    d.start();
    const ScreenInfo leftScreen = d.desktop.screens.screens().first();

    // The resizer moved the window to the right display.
    d.desktop.server.window(a)->bounds = DimmingDesktop::onRight();
    d.dimmer->coverScreenAfterWindowMoved(leftScreen);
    EXPECT_TRUE(log.has(QStringLiteral("coverScreenAfterWindowMoved: forcing full cover on screen 1")));
    EXPECT_TRUE(d.coversAll(DimmingDesktop::left));
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::right, a));
    d.desktop.scheduler.advance(3.0);
    EXPECT_TRUE(d.coversAll(DimmingDesktop::left)) << "still covered on the timer's pass";

    // Working on the left screen again releases it.
    d.activate(20);
    EXPECT_TRUE(log.has(QStringLiteral("updateOrdering: screen 1 active again — releasing forced cover (source=refresh)")));
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::left, other));
    EXPECT_TRUE(d.dimmer->forcedCoverDisplayIDs().isEmpty());

    // Moving a window while neither dimming nor clearing is on changes nothing.
    d.settings.set(&Settings::focusDimEnabled, false);
    d.dimmer->applyEnabledSetting();
    d.dimmer->coverScreenAfterWindowMoved(leftScreen);
    EXPECT_TRUE(d.dimmer->forcedCoverDisplayIDs().isEmpty());
    EXPECT_TRUE(d.dimmer->windowsByScreen().empty());
}
