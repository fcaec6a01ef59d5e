// The ordering engine on the simulated desktop: overlays below the right window on every screen, the anchor
// and cover rules, the floating and dialog holds, and the retry chain.
#include <gtest/gtest.h>

#include "DimmingTestSupport.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

TEST(FocusDimmerOrdering, eachScreensOverlaySitsDirectlyBelowTheActiveAppsFrontmostWindowThere)
{
    DimmingDesktop d;
    DimmingLog log;
    const WindowNumber other = d.window(20, DimmingDesktop::onLeft(50, 50));
    const WindowNumber back = d.window(10, DimmingDesktop::onLeft());
    const WindowNumber front = d.window(10, DimmingDesktop::onLeft(300, 300));
    const WindowNumber right = d.window(10, DimmingDesktop::onRight());
    d.activate(10);
    d.start();

    ASSERT_EQ(d.dimmer->windowsByScreen().size(), 2u);
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::left, front));
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::right, right));
    // The app's second window on the same screen is behind the overlay, dimmed with everything else.
    const QList<WindowNumber> stack = d.desktop.server.stackingOrder();
    EXPECT_GT(stack.indexOf(back), stack.indexOf(d.overlay(DimmingDesktop::left)->windowNumber()));
    EXPECT_GT(stack.indexOf(other), stack.indexOf(d.overlay(DimmingDesktop::left)->windowNumber()));
    EXPECT_TRUE(log.has(QStringLiteral("updateOrdering: screen 1 ordered below windowNumber=%1 (source=show) dt=").arg(front)))
        << log.dump().toStdString();

    // Activating the other app moves the left overlay under its window; on the right, where it has none, the
    // overlay stays below the window it was under.
    log.clear();
    d.activate(20);
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::left, other));
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::right, right));
    EXPECT_TRUE(log.has(QStringLiteral("updateOrdering: screen 2 using cached targetNumber=%1 (source=refresh)").arg(right)))
        << log.dump().toStdString();
    // Built afresh (no cache), the right overlay surfaces the topmost remaining window there.
    d.dimmer->hide();
    log.clear();
    d.dimmer->refresh();
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::right, right));
    EXPECT_TRUE(log.has(QStringLiteral("updateOrdering: screen 2 surfacing topmost remaining window %1 (source=show)").arg(right)))
        << log.dump().toStdString();

    // A window that vanishes between passes crashes nothing and is no longer used.
    d.desktop.server.removeWindow(right);
    log.clear();
    d.desktop.scheduler.advance(3.0);
    EXPECT_TRUE(log.has(QStringLiteral("updateOrdering: screen 2 no target window found (source=timer)")))
        << log.dump().toStdString();
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::left, other));
}

TEST(FocusDimmerOrdering, buriedWindowsOnOtherScreensKeepTheAnchorAndFullyDimCoversScreensWithoutTheApp)
{
    DimmingDesktop d;
    DimmingLog log;
    const WindowNumber leftA = d.window(10, DimmingDesktop::onLeft());
    const WindowNumber rightA = d.window(10, DimmingDesktop::onRight());
    d.activate(10);
    d.desktop.server.raise(leftA);  // the user works on the left screen
    d.start();
    ASSERT_TRUE(d.directlyBelow(DimmingDesktop::right, rightA));

    // Another app's window opens above ours on the right screen while we stay focused on the left.
    const WindowNumber rightB = d.window(20, DimmingDesktop::onRight(1800, 150));
    d.dimmer->updateOrdering(QStringLiteral("test"));
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::right, rightA)) << "the overlay must not jump below the hidden window";
    EXPECT_TRUE(log.has(QStringLiteral("updateOrdering: screen 2 front-app window %1 is not topmost — keeping anchor %1 (source=test)")
                            .arg(rightA)))
        << log.dump().toStdString();
    // Without a usable cached window the anchor is the topmost window there.
    d.dimmer->hide();
    d.dimmer->refresh();
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::right, rightB));
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::left, leftA));

    // "Fully Dim Other Screens": a screen without a window of the active app is covered completely.
    d.desktop.server.removeWindow(rightA);
    d.settings.set(&Settings::focusDimOtherScreensFully, true);
    log.clear();
    d.dimmer->updateOrdering(QStringLiteral("test"));
    EXPECT_TRUE(d.coversAll(DimmingDesktop::right));
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::left, leftA));
    EXPECT_EQ(d.dimmer->lastOrderedWindowByScreen().count(DimmingDesktop::right), 0u);
    EXPECT_TRUE(log.has(QStringLiteral("updateOrdering: screen 2 fully dimmed — active app has no window here (source=test)")));
}

TEST(FocusDimmerOrdering, screensWithoutAnyWindowRetryEveryFiftyMillisecondsUntilOneAppears)
{
    DimmingDesktop d;
    DimmingLog log;
    const WindowNumber leftA = d.window(10, DimmingDesktop::onLeft());
    d.activate(10);
    d.start();
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::left, leftA));
    EXPECT_TRUE(d.overlay(DimmingDesktop::right)->isVisible()) << "an overlay nothing placed still covers its screen";
    EXPECT_TRUE(log.has(QStringLiteral("updateOrdering: scheduling retry for screens with no target (source=show)")));

    log.clear();
    d.desktop.scheduler.advance(0.21);
    EXPECT_EQ(log.count(QStringLiteral("updateOrdering: screen 2 no target window found (source=retry)")), 4)
        << log.dump().toStdString();

    const WindowNumber rightB = d.window(20, DimmingDesktop::onRight());
    d.desktop.scheduler.advance(0.05);
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::right, rightB));
    log.clear();
    d.desktop.scheduler.advance(1.0);
    EXPECT_EQ(log.count(QStringLiteral("(source=retry)")), 0) << "the chain ends once every screen has a target";
}

TEST(FocusDimmerOrdering, floatingAndSmallDialogFocusHoldTheOverlaysWhereTheyAre)
{
    DimmingDesktop d;
    DimmingLog log;
    const WindowNumber main = d.window(10, DimmingDesktop::onLeft());
    d.activate(10);
    d.start();
    ASSERT_TRUE(d.directlyBelow(DimmingDesktop::left, main));

    // A sheet covering 20 % of its screen freezes the overlays.
    const double area = 1512.0 * 982.0;
    FakeWindow sheet;
    sheet.pid = 10;
    sheet.subrole = QStringLiteral("AXDialog");
    sheet.bounds = QRectF(200, 200, 600, area * 0.2 / 600);
    const WindowNumber small = d.desktop.server.addWindow(sheet);
    log.clear();
    d.dimmer->updateOrdering(QStringLiteral("test"));
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::left, main));
    EXPECT_TRUE(log.has(QStringLiteral("updateOrdering: focused window is a dialog/sheet — keeping current overlay position (source=test)")));

    // One covering 60 % is ordered like a normal window.
    d.desktop.server.removeWindow(small);
    sheet.role = QStringLiteral("AXSheet");
    sheet.subrole = QString();
    sheet.bounds = QRectF(100, 100, 1200, area * 0.6 / 1200);
    const WindowNumber large = d.desktop.server.addWindow(sheet);
    d.dimmer->updateOrdering(QStringLiteral("test"));
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::left, large));
    d.desktop.server.removeWindow(large);
    d.dimmer->updateOrdering(QStringLiteral("test"));
    ASSERT_TRUE(d.directlyBelow(DimmingDesktop::left, main));

    // A floating panel in focus holds the overlays; the hold is sticky until a normal window has the focus.
    const WindowNumber palette = d.window(10, QRectF(900, 300, 200, 300), WindowLevel::floating);
    log.clear();
    d.dimmer->updateOrdering(QStringLiteral("test"));
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::left, main));
    EXPECT_TRUE(d.dimmer->floatingWindowActive());
    EXPECT_TRUE(log.has(QStringLiteral("updateOrdering: focused window is floating (layer=3, sticky=false) — keeping current overlay position (source=test)")));
    d.desktop.server.setFocusedWindow(10, d.window(10, QRectF(0, 0, 1512, 30), 25));  // a status-level window
    d.dimmer->updateOrdering(QStringLiteral("test"));
    EXPECT_TRUE(log.has(QStringLiteral("(layer=25, sticky=true)"))) << log.dump().toStdString();
    d.desktop.server.setFocusedWindow(10, main);
    d.dimmer->updateOrdering(QStringLiteral("test"));
    EXPECT_FALSE(d.dimmer->floatingWindowActive());
    EXPECT_TRUE(d.directlyBelow(DimmingDesktop::left, main));
    Q_UNUSED(palette);
}

TEST(FocusDimmerOrdering, excludedAppsKeepThePreviousAppDimmed)
{
    DimmingDesktop d;
    DimmingLog log;
    const WindowNumber a = d.window(10, DimmingDesktop::onLeft());
    const WindowNumber b = d.window(20, DimmingDesktop::onLeft(400, 400));
    d.settings.set(&Settings::focusDimExcludedApps, QSet<QString>{QStringLiteral("org.example.app20")});
    d.activate(10);
    d.start();
    ASSERT_TRUE(d.directlyBelow(DimmingDesktop::left, a));
    ASSERT_EQ(d.dimmer->observedPid(), 10);

    d.activate(20);
    EXPECT_FALSE(d.directlyBelow(DimmingDesktop::left, b));
    EXPECT_EQ(d.dimmer->observedPid(), 10) << "the dimmed app stays observed";
    EXPECT_TRUE(log.has(QStringLiteral("refresh: front app is excluded from dimming — keeping current state")));
    EXPECT_TRUE(log.has(QStringLiteral("AX observer unchanged — front app is excluded from dimming")));
    d.desktop.scheduler.advance(3.0);
    EXPECT_TRUE(log.has(QStringLiteral("updateOrdering: front app is excluded from dimming — keeping current overlay position (source=timer)")));
}
