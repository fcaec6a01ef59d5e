// A discovery refresh seen from the switcher: one that finds what is shown changes nothing (no list computed, no
// row drawn); one that differs redraws only the rows it changed and keeps the selection and the filter; and the
// next showing is ready (view, rows, placement, frame) before the hotkey is pressed.
#include <gtest/gtest.h>

#include "SwitcherTestSupport.h"
#include "platform/fake/FakeKeyboardCapture.h"
#include "switcher/AppIconStore.h"
#include "switcher/FocusablePanel.h"
#include "switcher/SwitcherActivity.h"
#include "switcher/SwitcherView.h"
#include "switcher/SwitcherWindowController.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

SwitcherKeyEvent key(const QString& text) { return SwitcherKeyEvent{0, text, 0}; }
const SwitcherKeyEvent down{SwitcherKeyEvent::downArrow, {}, 0};

struct Refreshing : SwitcherRig {
    Refreshing()
    {
        for (int i = 1; i <= 30; ++i)
            writeFile(entryPath(i), desktopEntry(name(i)));
        discovery.setIconStore(&icons);
        rescan();
        desktop.scheduler.runPending();  // the controller readies its first showing
    }
    static QString name(int i) { return QStringLiteral("App %1").arg(i, 2, 10, QLatin1Char('0')); }
    QString entryPath(int i) const { return applications() + QStringLiteral("/app%1.desktop").arg(i); }
    void open()
    {
        controller.show();
        desktop.scheduler.advance(SwitcherWindowController::appearFallbackSeconds);
        desktop.scheduler.runPending();  // the refresh the showing started
    }
    FocusablePanel& panel() { return *controller.window(); }

    int fetches = 0;
    AppIconStore icons{[this](const QString&) {
                           ++fetches;
                           QImage image(64, 64, QImage::Format_ARGB32_Premultiplied);
                           image.fill(Qt::darkCyan);
                           return image;
                       },
                       queue};
    FakeKeyboardCapture capture;
    SwitcherWindowController controller{desktop.platform(), store, discovery, &icons, &capture};
};

}  // namespace

TEST(SwitcherRefresh, theNextShowingIsReadyBeforeTheHotkeyAndARefreshThatFindsTheSameDrawsNothing)
{
    Refreshing r;
    ASSERT_TRUE(r.controller.isPrepared());
    ASSERT_TRUE(r.controller.window());
    EXPECT_TRUE(r.panel().hasPreparedFrame());
    EXPECT_FALSE(r.panel().isVisible());
    // Placed for its rows already, and every visible row drawn with its icon, which the refresh loaded.
    EXPECT_EQ(r.panel().size(), r.panel().preferredSize(QSize(FocusablePanel::panelWidth, 10000)));
    const int drawn = r.panel().rowsRendered();
    EXPECT_GE(drawn, FocusablePanel::maxVisibleRows);
    EXPECT_EQ(r.fetches, 30);

    SwitcherView* prepared = r.panel().view();
    ASSERT_EQ(prepared->selectedIndex(), 0);
    const int builds = prepared->rowListBuilds();
    r.rescan();
    EXPECT_EQ(prepared->rowListBuilds(), builds);
    EXPECT_EQ(r.panel().rowsRendered(), drawn);
    EXPECT_TRUE(r.panel().hasPreparedFrame());
    EXPECT_EQ(r.fetches, 30);

    // The showing uses what was prepared: the same view, no list computed, no row drawn, the frame as it was.
    r.open();
    EXPECT_EQ(r.controller.view(), prepared);
    EXPECT_EQ(prepared->rowListBuilds(), builds);
    EXPECT_TRUE(r.panel().hasPreparedFrame());
    EXPECT_EQ(r.panel().rowsRendered(), drawn);
    EXPECT_EQ(r.controller.view()->selectedIndex(), 0);

    // After a close the next one is made ready again, with a fresh session.
    r.controller.close();
    r.desktop.scheduler.runPending();
    ASSERT_TRUE(r.controller.isPrepared());
    EXPECT_NE(r.panel().view(), prepared);
    EXPECT_TRUE(r.panel().hasPreparedFrame());
    EXPECT_EQ(r.panel().rowsRendered(), drawn);  // the same rows, pictures kept
}

TEST(SwitcherRefresh, aShowingThatOpensLikeAnEarlierOneTakesItsFrameAndAnyDifferenceDrawsANewOne)
{
    Refreshing r;
    const QImage opening = r.panel().preparedFrame().copy();
    const int composed = r.panel().framesComposed();

    // A session that filters and moves the selection draws frames of its own...
    r.open();
    r.controller.view()->handleKey(key(QStringLiteral("A")));
    r.controller.view()->handleKey(down);
    r.panel().prepareFrame();
    EXPECT_GT(r.panel().framesComposed(), composed);
    EXPECT_NE(r.panel().preparedFrame(), opening);
    r.controller.close();
    r.desktop.scheduler.runPending();

    // ...and the next showing opens on the same list as the first: its frame is taken, pixel for pixel.
    ASSERT_TRUE(r.controller.isPrepared());
    const int afterSession = r.panel().framesComposed();
    r.panel().prepareFrame();
    EXPECT_EQ(r.panel().framesComposed(), afterSession);
    EXPECT_EQ(r.panel().preparedFrame(), opening);

    // A renamed app opens on a different list: drawn anew, and the kept frame is left as it was.
    writeFile(r.entryPath(1), desktopEntry(QStringLiteral("App 01 Renamed")));
    r.rescan();
    r.panel().prepareFrame();
    EXPECT_EQ(r.panel().framesComposed(), afterSession + 1);
    EXPECT_NE(r.panel().preparedFrame(), opening);
    writeFile(r.entryPath(1), desktopEntry(Refreshing::name(1)));
    r.rescan();
    r.panel().prepareFrame();
    EXPECT_EQ(r.panel().preparedFrame(), opening);
}

TEST(SwitcherRefresh, aRenamedAppRedrawsItsRowAloneAndTheSelectionAndFilterStay)
{
    Refreshing r;
    r.open();
    SwitcherView& view = *r.controller.view();
    view.handleKey(down);
    view.handleKey(down);
    ASSERT_EQ(view.selectedIndex(), 2);
    r.panel().prepareFrame();
    const int drawn = r.panel().rowsRendered();

    // "App 05" → "App 05 Beta" keeps its place in the list.
    writeFile(r.entryPath(5), desktopEntry("App 05 Beta"));
    r.rescan();
    EXPECT_EQ(view.lastRowChange().changedRows, QSet<int>{4});
    EXPECT_FALSE(view.lastRowChange().reordered);
    EXPECT_EQ(view.rows()[4].title(), "App 05 Beta");
    EXPECT_EQ(view.selectedIndex(), 2);
    EXPECT_EQ(r.panel().lastDirtyRegion(), QRegion(QRect(6, FocusablePanel::headerHeight + 4 * FocusablePanel::rowHeight,
                                                         r.panel().width() - 12, FocusablePanel::rowHeight)));
    r.panel().prepareFrame();
    EXPECT_EQ(r.panel().rowsRendered(), drawn + 1);

    // An app installed ahead of the selected one: the selection stays on the row it was on.
    writeFile(r.applications() + "/first.desktop", desktopEntry("App 00"));
    r.rescan();
    EXPECT_TRUE(view.lastRowChange().reordered);
    ASSERT_TRUE(view.selectedIndex());
    EXPECT_EQ(view.rows()[*view.selectedIndex()].title(), "App 03");

    // With a filter typed, a refresh keeps it and the selection within what it lets through.
    view.handleKey(key("f"));
    ASSERT_TRUE(view.searchFocused());
    view.setFilter("app 1");
    view.setSearchFocused(false);
    view.handleKey(down);
    ASSERT_EQ(view.rows()[*view.selectedIndex()].title(), "App 11");
    QFile::remove(r.entryPath(10));
    r.rescan();
    EXPECT_EQ(view.filter(), "app 1");
    EXPECT_EQ(view.rows()[*view.selectedIndex()].title(), "App 11");
    EXPECT_EQ(view.rows().first().title(), "App 11");
    r.controller.close();
}

TEST(SwitcherRefresh, aNewIconRedrawsTheRowsThatShowIt)
{
    Refreshing r;
    r.open();
    r.panel().prepareFrame();
    const int drawn = r.panel().rowsRendered();
    // An edited binding changes the row's key caps: that row alone.
    r.store.setDiscoveredKey(QString("k"), r.app("app3"));
    EXPECT_EQ(r.controller.view()->lastRowChange().changedRows, QSet<int>{2});
    r.panel().prepareFrame();
    EXPECT_EQ(r.panel().rowsRendered(), drawn + 1);

    r.icons.announce({"app7"});
    r.panel().prepareFrame();
    EXPECT_EQ(r.panel().rowsRendered(), drawn + 2);
    r.controller.close();
}
