// The launch overlay on the simulated window server: sizing, placement, the fade and Escape.
#include <gtest/gtest.h>

#include "platform/fake/FakeDesktop.h"
#include "services/LaunchOverlayController.h"

using namespace tamsinvale;

namespace {

struct Overlay {
    Overlay()
    {
        controller.setKeyMonitors(
            [this](std::function<void(std::uint32_t)> onKey) {
                localKey = onKey;
                localWatching = true;
                return std::shared_ptr<void>(nullptr, [this](void*) { localWatching = false; });
            },
            [this](std::function<void(std::uint32_t)> onKey) {
                globalKey = onKey;
                globalWatching = true;
                return std::shared_ptr<void>(nullptr, [this](void*) { globalWatching = false; });
            });
    }
    FakeDesktop desktop;
    LaunchOverlayController controller{desktop.platform()};
    std::function<void(std::uint32_t)> localKey;
    std::function<void(std::uint32_t)> globalKey;
    bool localWatching = false;
    bool globalWatching = false;
};

}  // namespace

TEST(LaunchOverlay, cardWidthIsClampedAndTheCardSitsCentredOverADimmedScreen)
{
    EXPECT_EQ(LaunchOverlayModel::cardWidthFor(QString()), 280);
    EXPECT_EQ(LaunchOverlayModel::cardWidthFor(QString(400, QChar('W'))), 600);
    EXPECT_GT(LaunchOverlayModel::cardWidthFor(QString(30, QChar('W'))), LaunchOverlayModel::cardWidthFor("W"));

    Overlay o;
    o.controller.show(QString("Firefox") + QChar(0x2026), QImage(64, 64, QImage::Format_ARGB32));
    OverlayPanel* dim = o.controller.dimWindow();
    OverlayPanel* card = o.controller.window();
    ASSERT_TRUE(dim && card);
    EXPECT_EQ(dim->level(), 25);
    EXPECT_EQ(card->level(), 26);
    const ScreenInfo screen = *o.desktop.screens.mainScreen();
    EXPECT_EQ(dim->frame(), screen.frame);
    EXPECT_EQ(card->frame().center(), screen.visibleFrame.center());
    EXPECT_EQ(card->frame().width(), o.controller.model().cardWidth());
    EXPECT_TRUE(dim->isVisible() && card->isVisible());
    EXPECT_TRUE(static_cast<FakeOverlayPanel*>(card)->appearance().content);
    EXPECT_EQ(static_cast<FakeOverlayPanel*>(dim)->appearance().fill.alpha(), 128);
}

TEST(LaunchOverlay, dismissFadesOnceAndShowDuringTheFadeKeepsItUp)
{
    Overlay o;
    o.controller.show("A", std::nullopt);
    auto* card = static_cast<FakeOverlayPanel*>(o.controller.window());
    o.controller.dismiss();
    o.controller.dismiss();
    EXPECT_TRUE(o.controller.isFadingOut());
    o.desktop.scheduler.advance(0.2);
    EXPECT_LT(card->alpha(), 1.0);
    EXPECT_GT(card->alpha(), 0.0);
    o.desktop.scheduler.advance(0.2);
    EXPECT_FALSE(card->isVisible());
    EXPECT_FALSE(o.controller.isFadingOut());
    EXPECT_EQ(card->alpha(), 1.0);
    EXPECT_EQ(o.desktop.scheduler.pendingCount(), 0u);

    o.controller.show("B", std::nullopt);
    o.controller.dismiss();
    o.desktop.scheduler.advance(0.1);
    o.controller.show("C", std::nullopt);
    o.desktop.scheduler.advance(1.0);
    EXPECT_TRUE(card->isVisible());
    EXPECT_EQ(card->alpha(), 1.0);
    EXPECT_EQ(o.controller.model().message(), "C");
}

TEST(LaunchOverlay, escapeAnywhereDismissesAndOtherKeysDoNothing)
{
    Overlay o;
    o.controller.show("A", std::nullopt);
    ASSERT_TRUE(o.localWatching && o.globalWatching);
    o.globalKey(0);  // "a"
    o.desktop.scheduler.runPending();
    EXPECT_FALSE(o.controller.isFadingOut());
    o.globalKey(53);
    o.desktop.scheduler.runPending();
    EXPECT_TRUE(o.controller.isFadingOut());
    // The monitors go with the dismissal.
    EXPECT_FALSE(o.localWatching || o.globalWatching);
    EXPECT_FALSE(o.controller.hasKeyMonitors());
}

TEST(LaunchOverlay, withoutTranslucencyTheCardShowsAloneAndACompositorLaterBringsTheDimmingBack)
{
    Overlay o;
    o.desktop.server.setTranslucencyAvailable(false);
    o.controller.show("XTerm…", std::nullopt);
    // No opaque stand-in for the dim layer: the screen stays visible, the card says what is happening.
    EXPECT_FALSE(o.controller.dimWindow());
    ASSERT_TRUE(o.controller.window());
    EXPECT_TRUE(o.controller.window()->isVisible());
    ASSERT_EQ(o.desktop.server.panels().size(), 1);

    // A compositor starts while the card is up: the panels are made anew, the dim layer with them.
    o.desktop.server.setTranslucencyAvailable(true);
    ASSERT_TRUE(o.controller.dimWindow());
    EXPECT_TRUE(o.controller.dimWindow()->isVisible());
    EXPECT_TRUE(o.controller.window()->isVisible());
    ASSERT_EQ(o.desktop.server.panels().size(), 2);
    for (FakeOverlayPanel* panel : o.desktop.server.panels())
        EXPECT_TRUE(panel->madeTranslucent());
    EXPECT_EQ(o.desktop.server.stackingOrder().first(), o.controller.window()->windowNumber());
    EXPECT_EQ(o.controller.model().message(), "XTerm…");

    // It stops again: the dim layer goes, the card stays; dismissing still fades the card out.
    o.desktop.server.setTranslucencyAvailable(false);
    EXPECT_FALSE(o.controller.dimWindow());
    ASSERT_TRUE(o.controller.window());
    EXPECT_TRUE(o.controller.window()->isVisible());
    o.controller.dismiss();
    o.desktop.scheduler.advance(LaunchOverlayController::fadeSeconds + 0.05);
    EXPECT_FALSE(o.controller.isVisible());

    // Hidden panels are simply made anew on the next showing.
    o.desktop.server.setTranslucencyAvailable(true);
    EXPECT_FALSE(o.controller.isVisible());
    o.controller.show("XTerm…", std::nullopt);
    ASSERT_TRUE(o.controller.dimWindow());
    EXPECT_TRUE(o.controller.dimWindow()->isVisible());
}
