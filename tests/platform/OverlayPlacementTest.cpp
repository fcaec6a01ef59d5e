// The overlay placement decision: stacked until the manager shows that stacking cannot dim everything else.
#include <gtest/gtest.h>

#include "platform/OverlayPlacement.h"

using namespace tamsinvale;
using Mode = OverlayPlacement::Mode;

TEST(OverlayPlacement, startsStackedAndAnOverriddenRestackSwitchesToCutOutOnce)
{
    OverlayPlacement p;
    EXPECT_EQ(p.mode(), Mode::stacked);
    EXPECT_TRUE(p.reason().contains("stacked directly below"));
    EXPECT_TRUE(p.restackOverridden());
    EXPECT_EQ(p.mode(), Mode::cutOut);
    EXPECT_TRUE(p.reason().contains("cut out"));
    EXPECT_FALSE(p.restackOverridden()) << "a second sighting changes nothing";
}

TEST(OverlayPlacement, aFocusedWindowLeftUnderOthersSwitchesOnlyWhenItOutlastsARaiseOnItsWay)
{
    OverlayPlacement p;
    // Seen once: a manager that raises may simply not have done it yet.
    EXPECT_FALSE(p.focusedWindowNotRaised(10.0));
    EXPECT_FALSE(p.focusedWindowNotRaised(10.0 + OverlayPlacement::settle / 2));
    EXPECT_EQ(p.mode(), Mode::stacked);
    // It was raised after all: the count starts again.
    p.focusedWindowRaised();
    EXPECT_FALSE(p.focusedWindowNotRaised(20.0));
    EXPECT_EQ(p.mode(), Mode::stacked);
    // Still not raised a settle later: the manager does not raise what it focuses.
    EXPECT_TRUE(p.focusedWindowNotRaised(20.0 + OverlayPlacement::settle));
    EXPECT_EQ(p.mode(), Mode::cutOut);
    EXPECT_TRUE(p.reason().contains("does not raise"));
    EXPECT_FALSE(p.focusedWindowNotRaised(30.0));
}
