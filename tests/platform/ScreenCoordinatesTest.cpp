// Coordinate conversions with the primary display away from the root's origin: a 1280 × 1024 monitor on the
// left and the primary 1920 × 1080 on the right, as X lays them out (root x 0 and 1280).
#include <gtest/gtest.h>

#include "platform/ScreenCoordinates.h"
#include "platform/fake/FakeScreens.h"

using namespace tamsinvale;

namespace {

// Screen coordinates: the primary's bottom-left is the origin; the left monitor's top aligns with the primary's.
void layOutPrimaryOnTheRight(FakeScreens& screens)
{
    screens.setScreens({FakeScreens::makeScreen(1, QRectF(0, 0, 1920, 1080)),
                        FakeScreens::makeScreen(2, QRectF(-1280, 56, 1280, 1024))});
    screens.setWindowSystemOrigin(QPointF(1280, 0));
}

}  // namespace

TEST(ScreenCoordinates, convertsBetweenScreenAndWindowServerAndPlacesTopLevelsOnTheRightMonitor)
{
    FakeScreens screens;
    layOutPrimaryOnTheRight(screens);
    const ScreenCoordinates c = ScreenCoordinates::of(screens);

    // The primary's menu bar strip: at the top in window-server terms.
    EXPECT_EQ(c.toWindowServer(QRectF(0, 1055, 1920, 25)), QRectF(0, 0, 1920, 25));
    // The left monitor, whose top is level with the primary's, starts at window-server y 0 and negative x.
    EXPECT_EQ(c.toWindowServer(QRectF(-1280, 56, 1280, 1024)), QRectF(-1280, 0, 1280, 1024));
    // Converting back gives the rectangle again.
    const QRectF odd(13.5, -200, 333, 77);
    EXPECT_EQ(c.toScreen(c.toWindowServer(odd)), odd);

    // Top-level (root) geometry: the primary's whole frame is at root x 1280, the left monitor at root x 0.
    EXPECT_EQ(c.toTopLevel(QRectF(0, 0, 1920, 1080)), QRect(1280, 0, 1920, 1080));
    EXPECT_EQ(c.toTopLevel(QRectF(-1280, 56, 1280, 1024)), QRect(0, 0, 1280, 1024));
    EXPECT_EQ(c.windowServerToTopLevel(QPointF(700, 100)), QPointF(1980, 100));

    // Without any display nothing moves and nothing divides by zero.
    const FakeScreens none;
    EXPECT_EQ(ScreenCoordinates::of(none).toTopLevel(QRectF(5, 6, 7, 8)), QRect(5, -14, 7, 8));
}
