// The switcher panel's controller on the simulated desktop: the keyboard is taken at once, keys typed before the
// view is up still act, a key nobody handles beeps and leaves the panel open, Escape closes and gives the keyboard back.
#include <gtest/gtest.h>

#include "../TestSupport.h"
#include "SwitcherTestSupport.h"
#include "platform/fake/FakeKeyboardCapture.h"
#include "switcher/AppDiscoveryStore.h"
#include "switcher/BackgroundQueue.h"
#include "switcher/FocusablePanel.h"
#include "switcher/SwitcherActivity.h"
#include "switcher/SwitcherKeyRouter.h"
#include "switcher/SwitcherView.h"
#include "switcher/SwitcherWindowController.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

struct Panel : SwitcherRig {
    Panel() : SwitcherRig{{"org.xterm", "XTerm"}, {"org.editor", "Editor"}}
    {
        store.setDiscoveredKey(QString("x"), app("org.xterm"));
        desktop.workspace.addApplication(desktop.makeApp(77, "org.xterm", "XTerm"));
    }
    FakeKeyboardCapture capture;
    SwitcherWindowController controller{desktop.platform(), store, discovery, nullptr, &capture};
};

// A background queue whose work never comes back: a first scan that takes as long as it likes.
struct StalledQueue : BackgroundQueue {
    void run(std::function<void()>, std::function<void()>) override {}
};

}  // namespace

TEST(SwitcherPanel, keysTypedBeforeTheFirstScanWaitForItAndEscapeDoesNot)
{
    Panel p;
    // Opened straight after start: the installed applications are not known yet, the binding of x already is.
    AppDiscoveryStore unscanned(p.discovery.configuration(), p.queue);
    FakeKeyboardCapture capture;
    SwitcherWindowController controller(p.desktop.platform(), p.store, unscanned, nullptr, &capture);
    controller.show();
    EXPECT_TRUE(capture.press(7, "x"));
    p.desktop.scheduler.advance(SwitcherWindowController::appearFallbackSeconds);
    waitUntil([&] { return !controller.isOpen(); }, 2000);
    p.desktop.scheduler.runPending();
    EXPECT_FALSE(controller.isOpen());
    EXPECT_EQ(p.desktop.workspace.activations(), (QList<std::pair<std::int32_t, bool>>{{77, true}}));
    EXPECT_EQ(p.desktop.workspace.beeps(), 0);

    // Escape is not kept waiting.
    AppDiscoveryStore unscannedAgain(p.discovery.configuration(), p.queue);
    SwitcherWindowController again(p.desktop.platform(), p.store, unscannedAgain, nullptr, &capture);
    again.show();
    EXPECT_TRUE(capture.press(53, "\x1b"));
    EXPECT_FALSE(again.isOpen());
    EXPECT_FALSE(capture.isCapturing());
}

TEST(SwitcherPanel, aFirstScanThatNeverEndsHoldsKeysOnlyForAWhile)
{
    Panel p;
    StalledQueue stalled;
    AppDiscoveryStore neverScanned(p.discovery.configuration(), stalled);
    FakeKeyboardCapture capture;
    SwitcherWindowController controller(p.desktop.platform(), p.store, neverScanned, nullptr, &capture);
    controller.show();
    p.desktop.scheduler.advance(SwitcherWindowController::appearFallbackSeconds);
    ASSERT_TRUE(controller.router());
    EXPECT_FALSE(controller.router()->hasHandler());
    capture.press(16, "y");
    EXPECT_EQ(p.desktop.workspace.beeps(), 0);
    p.desktop.scheduler.advance(SwitcherView::firstScanWaitSeconds);
    EXPECT_TRUE(controller.router()->hasHandler());
    // The panel answers again: an unbound key beeps.
    capture.press(16, "y");
    EXPECT_EQ(p.desktop.workspace.beeps(), 1);
    EXPECT_TRUE(controller.isOpen());
    controller.close();
}

TEST(SwitcherPanel, aKeyTypedRightAfterTheHotkeyIsNotLost)
{
    Panel p;
    p.controller.show();
    EXPECT_TRUE(p.capture.isCapturing());
    EXPECT_TRUE(p.controller.isKey());
    // Typed at once, before the event loop has had a chance to put the panel on screen.
    EXPECT_TRUE(p.capture.press(7, "x"));
    p.desktop.scheduler.advance(SwitcherWindowController::appearFallbackSeconds);
    waitUntil([&] { return !p.controller.isOpen(); }, 2000);
    p.desktop.scheduler.runPending();
    EXPECT_FALSE(p.controller.isOpen());
    EXPECT_FALSE(p.capture.isCapturing());
    EXPECT_EQ(p.desktop.workspace.activations(), (QList<std::pair<std::int32_t, bool>>{{77, true}}));
    EXPECT_FALSE(SwitcherActivity::shared().mode());
}

TEST(SwitcherPanel, aKeyTypedBeforeTheCaptureBeganIsHandedOverAndActs)
{
    Panel p;
    // Typed while the hotkey still held the keyboard: the capture hands it over as it begins.
    p.capture.pressBeforeBegin(7, "x");
    p.controller.show();
    EXPECT_TRUE(p.controller.isKey());
    p.desktop.scheduler.advance(SwitcherWindowController::appearFallbackSeconds);
    waitUntil([&] { return !p.controller.isOpen(); }, 2000);
    p.desktop.scheduler.runPending();
    EXPECT_FALSE(p.controller.isOpen());
    EXPECT_EQ(p.desktop.workspace.activations(), (QList<std::pair<std::int32_t, bool>>{{77, true}}));
}

TEST(SwitcherPanel, anUnboundKeyBeepsOnceAndEscapeClosesAndReleasesTheKeyboard)
{
    Panel p;
    LogCapture log("tamsinvale.switcher");
    p.controller.show();
    // Booleans read as words in the log.
    EXPECT_TRUE(log.has("show: begin (axTrusted=true)")) << log.dump().toStdString();
    EXPECT_TRUE(log.has("isKey=true, shortcuts=0)")) << log.dump().toStdString();
    p.desktop.scheduler.advance(SwitcherWindowController::appearFallbackSeconds);
    ASSERT_TRUE(p.controller.router()->hasHandler());
    p.capture.press(16, "y");
    EXPECT_TRUE(log.has("handler: idle key 'y' custom=0 discovered=0 twoKey=false")) << log.dump().toStdString();
    EXPECT_EQ(p.desktop.workspace.beeps(), 1);
    EXPECT_TRUE(p.controller.isOpen());
    ASSERT_TRUE(p.controller.window());
    EXPECT_TRUE(p.controller.window()->isVisible());
    // Placed within the main screen's visible frame (y down from the top of the primary display).
    const QRect g = p.controller.window()->geometry();
    EXPECT_GE(g.top(), 25);
    EXPECT_LE(g.bottom(), 982);
    EXPECT_NEAR(g.center().x(), 756, 1);

    p.capture.press(53, "\x1b");
    EXPECT_FALSE(p.controller.isOpen());
    EXPECT_FALSE(p.capture.isCapturing());
    EXPECT_FALSE(p.controller.window()->isVisible());
    EXPECT_EQ(p.desktop.workspace.beeps(), 1);

    // The hotkey toggles: open, then closed again, each time with a new session.
    p.controller.toggle();
    const QUuid first = p.controller.view()->sessionId();
    p.controller.toggle();
    EXPECT_FALSE(p.controller.isOpen());
    p.controller.toggle();
    EXPECT_NE(p.controller.view()->sessionId(), first);
    p.controller.close();
}

TEST(SwitcherPanel, opensOnThePrimaryMonitorWhenItStandsRightOfAnother)
{
    Panel p;
    // A 1280 × 1024 monitor left of the primary 1920 × 1080: the primary's top-left is at root x 1280.
    p.desktop.screens.setScreens({FakeScreens::makeScreen(1, QRectF(0, 0, 1920, 1080)),
                                  FakeScreens::makeScreen(2, QRectF(-1280, 56, 1280, 1024))});
    p.desktop.screens.setWindowSystemOrigin(QPointF(1280, 0));
    p.controller.show();
    ASSERT_TRUE(p.controller.window());
    const QRect g = p.controller.window()->geometry();
    EXPECT_GE(g.left(), 1280);
    EXPECT_LE(g.right(), 1280 + 1920);
    EXPECT_NEAR(g.center().x(), 1280 + 960, 1);
    EXPECT_GE(g.top(), 25);
    p.controller.close();
}

TEST(SwitcherPanel, opensWithoutTheKeyboardWhenAnotherProgramHoldsIt)
{
    Panel p;
    p.capture.refuseNextBegin();
    p.controller.show();
    EXPECT_TRUE(p.controller.isOpen());
    EXPECT_FALSE(p.controller.isKey());
    // Keys then come through the panel's own window.
    p.desktop.scheduler.advance(SwitcherWindowController::appearFallbackSeconds);
    emit p.controller.window()->keyPressed(SwitcherKeyEvent{0xffff, "x", 0});
    p.desktop.scheduler.runPending();
    EXPECT_EQ(p.desktop.workspace.activations().size(), 1);
}

TEST(SwitcherPanel, aClickOnARowChoosesIt)
{
    Panel p;
    p.controller.show();
    p.desktop.scheduler.advance(SwitcherWindowController::appearFallbackSeconds);
    FocusablePanel* panel = p.controller.window();
    // Rows: Editor, XTerm, settings.
    const QPoint onXTerm(100, FocusablePanel::headerHeight + FocusablePanel::rowHeight + 5);
    ASSERT_EQ(panel->rowAt(onXTerm), 1);
    EXPECT_FALSE(panel->rowAt(QPoint(100, 10)));
    p.controller.view()->choose(*panel->rowAt(onXTerm));
    p.desktop.scheduler.runPending();
    EXPECT_EQ(p.desktop.workspace.activations().size(), 1);
    EXPECT_FALSE(p.controller.isOpen());
}

TEST(SwitcherPanel, aPressOutsideThePanelClosesItAndTheKeysGoBack)
{
    Panel p;
    p.controller.show();
    p.desktop.scheduler.advance(SwitcherWindowController::appearFallbackSeconds);
    ASSERT_TRUE(p.controller.window());
    const QRect panel = p.controller.window()->geometry();
    // Halfway through a two-key sequence, a press on the panel itself changes nothing.
    p.store.setDiscoveredSecondKey(QString("t"), p.app("org.xterm"));
    p.capture.press(7, "x");
    ASSERT_FALSE(p.controller.view()->inputState().isIdle());
    EXPECT_FALSE(p.capture.pointerPress(panel.center()));
    EXPECT_TRUE(p.controller.isOpen());

    // A click into another window: closed like Escape, whatever was pending, and the keyboard is given back.
    EXPECT_TRUE(p.capture.pointerPress(panel.bottomRight() + QPoint(40, 40)));
    EXPECT_FALSE(p.controller.isOpen());
    EXPECT_FALSE(p.capture.isCapturing());
    EXPECT_FALSE(p.controller.window()->isVisible());
    EXPECT_FALSE(SwitcherActivity::shared().mode());
    // What is typed next is the other window's: it starts nothing here.
    EXPECT_FALSE(p.capture.press(7, "t"));
    p.desktop.scheduler.runPending();
    EXPECT_TRUE(p.desktop.workspace.activations().isEmpty());
    EXPECT_EQ(p.desktop.workspace.beeps(), 0);

    // Closed, the switcher no longer watches the pointer.
    EXPECT_FALSE(p.capture.pointerPress(QPoint(0, 0)));
}
