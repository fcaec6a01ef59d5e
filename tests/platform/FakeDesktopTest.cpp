// The parts of the simulated desktop with logic of their own: the manual clock and window stacking.
#include <gtest/gtest.h>

#include "platform/fake/FakeDesktop.h"

using namespace tamsinvale;

TEST(FakeScheduler, runsDueWorkInOrderFirstInFirstOutAmongEquals)
{
    FakeScheduler s;
    QStringList log;
    s.postAfter(0.05, [&] { log << "b"; });
    s.postAfter(0.01, [&] { log << "a"; });
    s.postAfter(0.05, [&] { log << "c"; });
    s.post([&] { log << "now"; });
    auto cancelled = s.postAfter(0.02, [&] { log << "cancelled"; });
    cancelled->cancel();
    EXPECT_FALSE(cancelled->isPending());
    s.advance(0.04);
    EXPECT_EQ(log, (QStringList{"now", "a"}));
    EXPECT_DOUBLE_EQ(s.now(), 0.04);
    s.advance(0.01);
    EXPECT_EQ(log, (QStringList{"now", "a", "b", "c"}));
}

TEST(FakeScheduler, workScheduledByRunningWorkRunsWithinTheSameAdvance)
{
    FakeScheduler s;
    QList<double> times;
    std::function<void()> chain = [&] {
        times << s.now();
        if (times.size() < 4)
            s.postAfter(0.1, chain);
    };
    s.postAfter(0.1, chain);
    s.advance(0.35);
    EXPECT_EQ(times.size(), 3);
    EXPECT_NEAR(times.last(), 0.3, 1e-9);  // each ran at its own due time, not at the end of the advance
    s.advance(1);
    EXPECT_EQ(times.size(), 4);
}

TEST(FakeScheduler, repeatingWorkRunsUntilCancelled)
{
    FakeScheduler s;
    int ticks = 0;
    TaskHandle timer = s.repeat(3.0, [&] { ++ticks; });
    s.advance(9.0);
    EXPECT_EQ(ticks, 3);
    timer->cancel();
    s.advance(9.0);
    EXPECT_EQ(ticks, 3);
    EXPECT_EQ(s.pendingCount(), 0u);
}

TEST(FakeWindowServer, panelsOrderBelowAndInFrontRespectingLayers)
{
    FakeDesktop desktop;
    const WindowNumber back = desktop.addAppWithWindow(10, "org.example.A", "A", QRectF(0, 25, 400, 400));
    const WindowNumber front = desktop.addAppWithWindow(11, "org.example.B", "B", QRectF(100, 100, 400, 400));
    FakeWindow floating;
    floating.pid = 12;
    floating.layer = WindowLevel::floating;
    floating.bounds = QRectF(0, 0, 100, 100);
    const WindowNumber top = desktop.server.addWindow(floating);
    const WindowNumber normalAdded = desktop.addAppWithWindow(13, "org.example.C", "C", QRectF(0, 0, 60, 60));
    // A normal window added later still goes below the floating one.
    EXPECT_EQ(desktop.server.stackingOrder(), (QList<WindowNumber>{top, normalAdded, front, back}));

    auto panel = desktop.server.createPanel(QRectF(0, 0, 1512, 957), WindowLevel::normal);
    EXPECT_FALSE(panel->isVisible());
    panel->orderBelow(front);
    EXPECT_EQ(desktop.server.stackingOrder(), (QList<WindowNumber>{top, normalAdded, front, panel->windowNumber(), back}));
    panel->orderBelow(4242);  // a window that has gone: the panel stays where it is
    EXPECT_EQ(static_cast<FakeOverlayPanel*>(panel.get())->orderedBelow(), front);
    panel->orderFrontRegardless();
    EXPECT_EQ(desktop.server.stackingOrder().mid(0, 2), (QList<WindowNumber>{top, panel->windowNumber()}));

    // While visible the panel is in the window list as a window of our own process, in window-server coordinates.
    const auto snapshot = desktop.server.onScreenWindows();
    ASSERT_TRUE(snapshot);
    const auto entry = std::find_if(snapshot->begin(), snapshot->end(),
                                    [&](const WindowSnapshotEntry& e) { return e.number == panel->windowNumber(); });
    ASSERT_NE(entry, snapshot->end());
    EXPECT_EQ(entry->ownerPid, FakeDesktop::ownPid);
    EXPECT_EQ(entry->bounds, QRectF(0, 25, 1512, 957));

    panel->orderOut();
    EXPECT_FALSE(desktop.server.stackingOrder().contains(panel->windowNumber()));
    panel.reset();
    EXPECT_TRUE(desktop.server.panels().isEmpty());
}

TEST(FakeWorkspace, activationRaisesTheApplicationsWindowsAndReportsIt)
{
    FakeDesktop desktop;
    const WindowNumber a1 = desktop.addAppWithWindow(10, "org.example.A", "A", QRectF(0, 25, 400, 400));
    const WindowNumber a2 = desktop.addAppWithWindow(10, "org.example.A", "A", QRectF(0, 25, 300, 300));
    const WindowNumber b = desktop.addAppWithWindow(11, "org.example.B", "B", QRectF(0, 25, 400, 400));
    QList<std::int32_t> activated;
    QObject::connect(&desktop.workspace, &Workspace::applicationActivated,
                     [&](const RunningApp& app) { activated << app.pid; });
    ASSERT_TRUE(desktop.workspace.activate(10, true));
    EXPECT_EQ(desktop.server.stackingOrder(), (QList<WindowNumber>{a2, a1, b}));
    EXPECT_EQ(desktop.workspace.frontmostApplication()->pid, 10);
    EXPECT_EQ(activated, QList<std::int32_t>{10});
    // The focused window follows the stack until something sets it.
    EXPECT_EQ(desktop.server.elementAttribute(desktop.server.applicationElement(10), AXAttr::focusedWindow)->ref, a2);
}
