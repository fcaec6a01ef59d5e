// Which window each screen's overlay goes under: the per-screen target rules and their fallbacks.
#include <gtest/gtest.h>

#include "DimmingTestSupport.h"
#include "dimming/OverlayOrdering.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {
WindowSnapshotEntry entry(std::int32_t pid, WindowNumber n, const QRectF& bounds, std::optional<int> layer = 0)
{
    WindowSnapshotEntry e;
    e.ownerPid = pid;
    e.number = n;
    e.bounds = bounds;
    e.layer = layer;
    return e;
}

OverlayOrdering twoScreens()
{
    return OverlayOrdering({{2, QRectF(1512, 0, 1920, 1080)}, {1, QRectF(0, 0, 1512, 982)}}, 982, 1000);
}
}  // namespace

TEST(OverlayOrdering, targetsAreTheFrontmostNormalWindowsPerScreenWithTheirFallbacks)
{
    const OverlayOrdering o = twoScreens();
    // Frontmost of two windows on one screen wins; a 49-point-wide window never counts; hidden ones neither.
    WindowSnapshot w{entry(10, 1, QRectF(100, 100, 49, 400)), entry(10, 2, QRectF(100, 100, 600, 400)),
                     entry(10, 3, QRectF(200, 200, 600, 400))};
    w[1].onScreen = std::nullopt;  // missing on-screen flag counts as on screen
    auto targets = o.frontmostWindowNumbersPerScreen(w, 10, true);
    EXPECT_EQ(targets.size(), 1u);
    EXPECT_EQ(targets[1], 2u);
    EXPECT_EQ(o.focusedScreen(w, 10), DisplayId(1));

    // Only a floating palette (layer 3, any size) on the right: the floating fallback takes it there.
    w.append(entry(10, 4, QRectF(2000, 300, 30, 30), 3));
    targets = o.frontmostWindowNumbersPerScreen(w, 10, true);
    EXPECT_EQ(targets[2], 4u);
    // A window of layer 20 (a dock) is never a target.
    WindowSnapshot dock{entry(10, 5, QRectF(2000, 300, 400, 400), 20)};
    EXPECT_TRUE(o.frontmostWindowNumbersPerScreen(dock, 10, true).empty());

    // A window spanning both screens belongs to the one holding the larger part: 1000 points on the right.
    WindowSnapshot span{entry(10, 6, QRectF(1012, 100, 1500, 500))};
    targets = o.frontmostWindowNumbersPerScreen(span, 10, true);
    EXPECT_EQ(targets.size(), 1u);
    EXPECT_EQ(targets[2], 6u);
    EXPECT_EQ(o.focusedScreen(span, 10), DisplayId(2));
    // An exact tie goes to the first screen in display-id order.
    EXPECT_EQ(o.bestScreen(QRectF(1412, 100, 200, 200)), DisplayId(1));
}

TEST(OverlayOrdering, topmostRemainingWindowAndStillOnScreenIgnoreOurOwnPanels)
{
    const OverlayOrdering o = twoScreens();
    WindowSnapshot w{entry(1000, 50, QRectF(1512, -98, 1920, 1080)),  // our overlay
                     entry(11, 51, QRectF(1600, 0, 40, 40)),          // too small
                     entry(12, 52, QRectF(1600, 0, 500, 500), 3),     // floating
                     entry(13, 53, QRectF(1600, 0, 500, 500))};
    EXPECT_EQ(o.topmostWindowOnScreen(2, w), WindowNumber(53));
    EXPECT_EQ(o.topmostWindowOnScreen(1, w), std::nullopt);
    EXPECT_EQ(o.topmostWindowOnScreen(7, w), std::nullopt);
    EXPECT_TRUE(o.isWindowStillOnScreen(53, w, 2));
    EXPECT_FALSE(o.isWindowStillOnScreen(53, w, 1));
    w[3].onScreen = false;
    EXPECT_FALSE(o.isWindowStillOnScreen(53, w, 2));
    EXPECT_FALSE(o.isWindowStillOnScreen(99, w, 2));
}
