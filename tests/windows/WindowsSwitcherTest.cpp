// The window switcher on the simulated desktop: the row model, filtering and selection, the keys, the two-step
// activation, and the controller's showing (fresh each time, centred on the main screen, the keyboard taken and
// keys typed before the panel was up handed over).
#include <gtest/gtest.h>

#include "WindowsTestSupport.h"
#include "platform/fake/FakeDesktop.h"
#include "platform/fake/FakeKeyboardCapture.h"
#include "switcher/SwitcherActivity.h"
#include "windows/WSFocusablePanel.h"
#include "windows/WindowsSwitcherView.h"
#include "windows/WindowsSwitcherWindowController.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

constexpr std::int32_t editorPid = 200;
using Key = SwitcherKeyEvent;
const Key up{Key::upArrow, {}, 0};
const Key down{Key::downArrow, {}, 0};
const Key enter{Key::returnKey, QStringLiteral("\r"), 0};
const Key keypadEnter{Key::keypadEnter, QStringLiteral("\r"), 0};
const Key escape{Key::escape, QStringLiteral("\x1b"), 0};
const Key backspace{Key::deleteKey, QStringLiteral("\b"), 0};
Key typed(const QString& c) { return Key{0xffff, c, 0}; }

// The editor with three windows, front to back: "todo", "report.txt — Editor", "Report archive".
struct Editor {
    FakeDesktop desktop;
    WindowNumber todo = 0, report = 0, archive = 0;

    Editor()
    {
        RunningApp app = desktop.makeApp(editorPid, "org.editor", "Editor");
        app.bundlePath = QStringLiteral("/usr/share/applications/org.editor.desktop");
        desktop.workspace.addApplication(app);
        archive = window(QStringLiteral("Report archive"));
        report = window(QStringLiteral("report.txt — Editor"));
        todo = window(QStringLiteral("todo"));
        desktop.workspace.setFrontmost(editorPid);
    }
    WindowNumber window(const QString& title)
    {
        FakeWindow w;
        w.pid = editorPid;
        w.title = title;
        w.bounds = QRectF(100, 100, 400, 300);
        return desktop.server.addWindow(w);
    }
    std::shared_ptr<WindowDataProvider> provider()
    {
        auto p = std::make_shared<WindowDataProvider>(desktop.platform(), editorPid, QStringLiteral("Editor"));
        p->refresh();
        return p;
    }
};

QStringList titles(const WindowsSwitcherView& view)
{
    QStringList out;
    for (const WindowSwitcherRow& row : view.rows())
        out << row.title + (row.selected ? QStringLiteral(" *") : QString());
    return out;
}

}  // namespace

TEST(WindowsSwitcherView, rowsCarryTitleAppNameAndTheApplicationsIcon)
{
    Editor e;
    WindowsSwitcherView view(e.desktop.platform(), e.provider());
    const QList<WindowSwitcherRow> rows = view.rows();
    ASSERT_EQ(rows.size(), 3);
    EXPECT_EQ(rows[1], (WindowSwitcherRow{std::int64_t(e.report), "Editor — report.txt", "Editor", "org.editor",
                                          QStringLiteral("/usr/share/applications/org.editor.desktop"), false}));
    EXPECT_FALSE(view.selectedIndex());
    EXPECT_EQ(WindowsSwitcherView::placeholder, "Filter windows, Enter to activate, Esc to close");
}

TEST(WindowsSwitcherView, arrowsMoveTheSelectionAndStopAtBothEnds)
{
    Editor e;
    WindowsSwitcherView view(e.desktop.platform(), e.provider());
    EXPECT_TRUE(view.keyDown(up));  // no selection: Up selects the first row
    EXPECT_EQ(view.selectedIndex(), 0);
    EXPECT_TRUE(view.keyDown(up));
    EXPECT_EQ(view.selectedIndex(), 0);
    view.keyDown(down);
    view.keyDown(down);
    EXPECT_EQ(titles(view), (QStringList{"todo", "Editor — report.txt", "Report archive *"}));
    view.keyDown(down);
    EXPECT_EQ(view.selectedIndex(), 2);

    WindowsSwitcherView fresh(e.desktop.platform(), e.provider());
    fresh.keyDown(down);  // no selection: Down selects the first row too
    EXPECT_EQ(fresh.selectedIndex(), 0);
}

TEST(WindowsSwitcherView, typingFiltersIgnoringCaseAndTheBestMatchIsSelected)
{
    Editor e;
    WindowsSwitcherView view(e.desktop.platform(), e.provider());
    for (const QString& c : {QStringLiteral("R"), QStringLiteral("e"), QStringLiteral("p")})
        EXPECT_TRUE(view.keyDown(typed(c)));
    EXPECT_EQ(view.filter(), "Rep");
    EXPECT_EQ(titles(view), (QStringList{"Editor — report.txt *", "Report archive"}));
    view.keyDown(down);
    EXPECT_EQ(titles(view), (QStringList{"Editor — report.txt", "Report archive *"}));
    view.keyDown(typed(QStringLiteral("o")));
    view.keyDown(typed(QStringLiteral("r")));
    view.keyDown(typed(QStringLiteral("t")));
    view.keyDown(typed(QStringLiteral(".")));
    EXPECT_EQ(titles(view), QStringList{"Editor — report.txt *"});
    // Backspace takes the last character; an empty filter shows everything with no selection.
    view.keyDown(backspace);
    EXPECT_EQ(view.filter(), "Report");
    for (int i = 0; i < 6; ++i)
        view.keyDown(backspace);
    EXPECT_EQ(view.filter(), "");
    EXPECT_FALSE(view.keyDown(backspace));  // nothing left to delete
    EXPECT_EQ(view.rows().size(), 3);
    EXPECT_FALSE(view.selectedIndex());
}

TEST(WindowsSwitcherView, anEmptyResultLetsEnterPassAndTheArrowsDoNothing)
{
    Editor e;
    WindowsSwitcherView view(e.desktop.platform(), e.provider());
    int closes = 0;
    view.onClose = [&] { ++closes; };
    view.keyDown(typed(QStringLiteral("z")));
    EXPECT_TRUE(view.rows().isEmpty());
    EXPECT_FALSE(view.handleKey(enter));
    EXPECT_FALSE(view.handleKey(keypadEnter));
    view.keyDown(down);
    view.keyDown(up);
    EXPECT_FALSE(view.selectedIndex());
    // Enter with the whole list and nothing selected passes on too.
    view.keyDown(backspace);
    EXPECT_FALSE(view.handleKey(enter));
    EXPECT_EQ(closes, 0);
    EXPECT_TRUE(e.desktop.workspace.activations().isEmpty());
    EXPECT_TRUE(view.handleKey(escape));
    EXPECT_EQ(closes, 1);
}

TEST(WindowsSwitcherView, enterBringsTheApplicationForwardAndRaisesTheWindowAMomentLater)
{
    Editor e;
    WindowsSwitcherView view(e.desktop.platform(), e.provider());
    int closes = 0;
    view.onClose = [&] { ++closes; };
    view.keyDown(down);
    view.keyDown(down);
    view.keyDown(down);
    e.desktop.server.clearAttributeWrites();
    EXPECT_TRUE(view.keyDown(keypadEnter));
    EXPECT_EQ(closes, 1);
    EXPECT_EQ(e.desktop.workspace.activations(), (QList<std::pair<std::int32_t, bool>>{{editorPid, false}}));
    EXPECT_TRUE(e.desktop.server.attributeWrites().isEmpty());
    e.desktop.scheduler.advance(0.049);
    EXPECT_TRUE(e.desktop.server.attributeWrites().isEmpty());
    e.desktop.scheduler.advance(0.001);
    EXPECT_EQ(e.desktop.server.attributeWrites().value(0), "AXRaise");
    EXPECT_EQ(e.desktop.server.stackingOrder().first(), e.archive);
}

TEST(WindowsSwitcherView, aClickOnARowActivatesItsWindow)
{
    Editor e;
    WindowsSwitcherView view(e.desktop.platform(), e.provider());
    int closes = 0;
    view.onClose = [&] { ++closes; };
    view.choose(7);  // no such row
    EXPECT_EQ(closes, 0);
    view.choose(1);
    EXPECT_EQ(closes, 1);
    e.desktop.scheduler.advance(WindowsSwitcherView::windowRaiseDelay);
    EXPECT_EQ(e.desktop.server.stackingOrder().first(), e.report);
}

TEST(WindowsSwitcherView, withoutAccessibilityAllTheApplicationsWindowsComeForward)
{
    Editor e;
    auto provider = e.provider();
    WindowsSwitcherView view(e.desktop.platform(), provider);
    e.desktop.server.setTrusted(false);
    view.choose(2);
    EXPECT_EQ(e.desktop.workspace.activations(), (QList<std::pair<std::int32_t, bool>>{{editorPid, true}}));
    EXPECT_GE(e.desktop.server.trustRequests(), 1);
    e.desktop.scheduler.advance(1);
    EXPECT_FALSE(e.desktop.server.attributeWrites().contains("AXRaise"));
}

TEST(WindowsSwitcherView, anApplicationThatQuitMeanwhileIsNotActivated)
{
    Editor e;
    WindowsSwitcherView view(e.desktop.platform(), e.provider());
    e.desktop.workspace.terminate(editorPid);
    view.choose(0);
    e.desktop.scheduler.advance(1);
    EXPECT_TRUE(e.desktop.workspace.activations().isEmpty());
    EXPECT_TRUE(e.desktop.server.attributeWrites().isEmpty());
}

namespace {

struct Switcher : Editor {
    FakeKeyboardCapture capture;
    WindowsSwitcherWindowController controller{desktop.platform(), nullptr, &capture};
    int beforeShows = 0;
    Switcher()
    {
        controller.beforeShow = [this] { ++beforeShows; };
    }
};

}  // namespace

TEST(WindowsSwitcherController, showsAFreshListCentredOnTheMainScreenWithTheKeyboardTaken)
{
    Switcher s;
    // The primary display stands right of another one at the root's origin; the main screen is the left one.
    s.desktop.screens.setScreens({FakeScreens::makeScreen(1, QRectF(0, 0, 1920, 1080)),
                                  FakeScreens::makeScreen(2, QRectF(-1280, 56, 1280, 1024))});
    s.desktop.screens.setWindowSystemOrigin(QPointF(1280, 0));
    s.desktop.screens.setMainScreenIndex(1);
    s.controller.show(editorPid, QStringLiteral("Editor"));
    ASSERT_TRUE(s.controller.isOpen());
    EXPECT_TRUE(s.controller.isKey());
    EXPECT_TRUE(s.capture.isCapturing());
    EXPECT_EQ(s.beforeShows, 1);
    ASSERT_TRUE(s.controller.window());
    EXPECT_TRUE(s.controller.window()->isVisible());
    // Display 2's visible frame is (−1280, 25, 1280, 999) from the primary's top-left, at x 0 of the root.
    EXPECT_EQ(s.controller.window()->geometry(), QRect(380, 305, 520, 440));
    EXPECT_EQ(SwitcherActivity::shared().mode(), SwitcherActivity::Kind::windows(s.controller.view()->sessionId()));

    s.capture.press(0xffff, QStringLiteral("t"));
    s.capture.press(Key::downArrow, QString());
    EXPECT_EQ(s.controller.view()->filter(), "t");
    const QUuid first = s.controller.view()->sessionId();

    // A window opened meanwhile is listed at the next showing, which starts with no filter and no selection.
    const WindowNumber added = s.window(QStringLiteral("new"));
    s.controller.show(editorPid, QStringLiteral("Editor"));
    EXPECT_NE(s.controller.view()->sessionId(), first);
    EXPECT_EQ(s.controller.view()->filter(), "");
    EXPECT_FALSE(s.controller.view()->selectedIndex());
    EXPECT_EQ(s.controller.view()->rows().first().windowId, std::int64_t(added));
    EXPECT_EQ(s.capture.begins(), 2);
    EXPECT_EQ(s.beforeShows, 1);  // already open: nothing else to close
}

TEST(WindowsSwitcherController, keysTypedBeforeThePanelWasUpAreHandedOverAndAct)
{
    Switcher s;
    s.capture.pressBeforeBegin(0xffff, QStringLiteral("a"));
    s.capture.pressBeforeBegin(0xffff, QStringLiteral("r"));
    s.capture.pressBeforeBegin(Key::downArrow, QString());
    s.controller.show(editorPid, QStringLiteral("Editor"));
    EXPECT_EQ(s.controller.view()->filter(), "ar");
    EXPECT_EQ(titles(*s.controller.view()), QStringList{"Report archive *"});
    s.capture.press(Key::returnKey, QStringLiteral("\r"));
    EXPECT_FALSE(s.controller.isOpen());
    EXPECT_FALSE(s.capture.isCapturing());
    EXPECT_FALSE(s.controller.window()->isVisible());
    EXPECT_FALSE(SwitcherActivity::shared().mode());
    s.desktop.scheduler.advance(WindowsSwitcherView::windowRaiseDelay);
    EXPECT_EQ(s.desktop.server.stackingOrder().first(), s.archive);
}

TEST(WindowsSwitcherController, escapeWithShiftHeldClosesAndGivesTheKeyboardBack)
{
    Switcher s;
    s.controller.show(editorPid, QStringLiteral("Editor"));
    EXPECT_TRUE(s.capture.press(Key::escape, QStringLiteral("\x1b"), 0x0200));
    EXPECT_FALSE(s.controller.isOpen());
    EXPECT_FALSE(s.capture.isCapturing());
    EXPECT_TRUE(s.desktop.workspace.activations().isEmpty());
}

TEST(WindowsSwitcherController, aClickIntoAnotherWindowClosesItAndAClickOnThePanelDoesNot)
{
    Switcher s;
    s.controller.show(editorPid, QStringLiteral("Editor"));
    ASSERT_TRUE(s.controller.window());
    const QRect panel = s.controller.window()->geometry();
    s.capture.press(0xffff, QStringLiteral("r"));
    EXPECT_FALSE(s.capture.pointerPress(panel.center()));
    EXPECT_TRUE(s.controller.isOpen());

    // The user clicked elsewhere: closed as on Escape, the keyboard given back, nothing brought forward.
    EXPECT_TRUE(s.capture.pointerPress(panel.bottomRight() + QPoint(40, 40)));
    EXPECT_FALSE(s.controller.isOpen());
    EXPECT_FALSE(s.capture.isCapturing());
    EXPECT_FALSE(SwitcherActivity::shared().mode());
    EXPECT_FALSE(s.capture.press(Key::returnKey, QStringLiteral("\r")));
    s.desktop.scheduler.advance(1);
    EXPECT_TRUE(s.desktop.workspace.activations().isEmpty());
    // Closed, the panel no longer watches the pointer.
    EXPECT_FALSE(s.capture.pointerPress(QPoint(0, 0)));
}

TEST(WindowsSwitcherController, anEscapeTypedBeforeThePanelWasUpClosesItBeforeItAppears)
{
    Switcher s;
    s.capture.pressBeforeBegin(Key::escape, QStringLiteral("\x1b"));
    s.controller.show(editorPid, QStringLiteral("Editor"));
    EXPECT_FALSE(s.controller.isOpen());
    EXPECT_FALSE(s.controller.isKey());
    EXPECT_FALSE(s.capture.isCapturing());
    EXPECT_TRUE(!s.controller.window() || !s.controller.window()->isVisible());
}

TEST(WindowsSwitcherController, aRefusedCaptureLetsThePanelTakeTheFocusInstead)
{
    Switcher s;
    s.capture.refuseNextBegin();
    s.controller.show(editorPid, QStringLiteral("Editor"));
    EXPECT_TRUE(s.controller.isOpen());
    EXPECT_FALSE(s.controller.isKey());
    EXPECT_FALSE(s.controller.window()->flags().testFlag(Qt::WindowDoesNotAcceptFocus));
    // Keys then come from the panel's own window.
    emit s.controller.window()->keyPressed(escape);
    EXPECT_FALSE(s.controller.isOpen());
}

TEST(WindowsSwitcherController, anotherPanelTakingTheKeyboardClosesItWithoutReleasingTheKeyboard)
{
    Switcher s;
    s.controller.show(editorPid, QStringLiteral("Editor"));
    s.controller.yieldKeyboard();
    EXPECT_FALSE(s.controller.isOpen());
    EXPECT_TRUE(s.capture.isCapturing());  // the other panel's now
    s.capture.press(Key::escape, QStringLiteral("\x1b"));
    EXPECT_FALSE(s.controller.isOpen());
}

TEST(WindowsSwitcherController, withNoDisplayNothingIsShown)
{
    Switcher s;
    s.desktop.screens.setScreens({});
    s.controller.show(editorPid, QStringLiteral("Editor"));
    EXPECT_FALSE(s.controller.isOpen());
    EXPECT_EQ(s.capture.begins(), 0);
}
