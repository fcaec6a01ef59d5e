// The launch overlay's Escape on X11, against real X: while the overlay is up Escape is watched on the whole desktop;
// pressed, it closes the overlay and still reaches the focused window, and the key is free again afterwards. Another
// program holding Escape costs only the watch.
#include <gtest/gtest.h>

#include <cstdlib>

#include "ActHelpers.h"
#include "XTestSession.h"
#include "platform/x11/X11KeyMap.h"
#include "platform/x11/X11KeyWatch.h"
#include "platform/x11/X11OverlayPanels.h"
#include "services/LaunchOverlayController.h"

#include <xcb/xtest.h>

using namespace tamsinvale;
using namespace tamsinvale::x11test;
using namespace std::chrono_literals;

namespace {

constexpr std::uint32_t escape = 53;

// The overlay as the application wires it on X11, without a scheduler (it then closes at once, no fade).
struct Overlay {
    Overlay()
    {
        controller.setKeyMonitors({}, [](std::function<void(std::uint32_t)> onKey) -> std::shared_ptr<void> {
            return std::make_shared<X11KeyWatch>(XTestSession::get().desktop().connection(), escape, std::move(onKey));
        });
    }
    static Platform platformWith(OverlayPanels& panels)
    {
        Platform platform;
        XTestSession::get().desktop().fill(platform);
        platform.overlays = &panels;
        return platform;
    }
    X11OverlayPanels panels{XTestSession::get().desktop().connection()};
    LaunchOverlayController controller{platformWith(panels)};
};

xcb_keycode_t escapeKeycode()
{
    const auto keys = X11KeyMap(XTestSession::get().x().xcb()).keycodesForKeyCode(escape);
    return keys.empty() ? 0 : keys.front();
}

void tapEscape()
{
    XTestDisplay& x = XTestSession::get().x();
    xcb_test_fake_input(x.xcb(), XCB_KEY_PRESS, escapeKeycode(), XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
    xcb_test_fake_input(x.xcb(), XCB_KEY_RELEASE, escapeKeycode(), XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
    xcb_flush(x.xcb());
}

}  // namespace

TEST(LaunchOverlayEscapeTest, escapeAnywhereClosesTheOverlayStillReachesTheFocusedWindowAndIsFreeAfterwards)
{
    XTestSession& s = XTestSession::get();
    ASSERT_NE(escapeKeycode(), 0);
    auto client = InputClient::start(QStringLiteral("busy elsewhere"), 100, 100, 400, 300);
    ASSERT_TRUE(client);
    ASSERT_TRUE(xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"),
                         QStringLiteral("0x%1").arg(client->window(), 0, 16)}));
    EXPECT_TRUE(testCanGrab(escapeKeycode(), 0));

    Overlay overlay;
    overlay.controller.show(QStringLiteral("Opening XTerm…"), std::nullopt);
    ASSERT_TRUE(overlay.controller.isVisible());
    EXPECT_TRUE(overlay.controller.hasKeyMonitors());
    EXPECT_FALSE(testCanGrab(escapeKeycode(), 0));

    // Other keys leave it up.
    ASSERT_TRUE(xdotool({QStringLiteral("key"), QStringLiteral("a")}));
    EXPECT_EQ(client->nextText(5s), QStringLiteral("a"));
    EXPECT_TRUE(overlay.controller.isVisible());

    tapEscape();
    ASSERT_TRUE(s.waitUntil([&] { return !overlay.controller.isVisible(); }));
    EXPECT_FALSE(overlay.controller.hasKeyMonitors());
    // Seen, not taken: the window that has the focus got its Escape.
    EXPECT_EQ(client->nextText(5s), QStringLiteral("\x1b"));
    // Released with the overlay: another program may have Escape now.
    EXPECT_TRUE(testCanGrab(escapeKeycode(), 0));
    // And the keyboard is not left frozen or grabbed: typing goes on.
    ASSERT_TRUE(xdotool({QStringLiteral("key"), QStringLiteral("b")}));
    EXPECT_EQ(client->nextText(5s), QStringLiteral("b"));
}

TEST(LaunchOverlayEscapeTest, escapeWithModifiersHeldClosesItToo)
{
    XTestSession& s = XTestSession::get();
    auto client = InputClient::start(QStringLiteral("typing with modifiers"), 100, 100, 400, 300);
    ASSERT_TRUE(client);
    ASSERT_TRUE(xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"),
                         QStringLiteral("0x%1").arg(client->window(), 0, 16)}));

    Overlay overlay;
    const std::pair<QString, std::uint16_t> chords[] = {
        {QStringLiteral("shift+Escape"), XCB_MOD_MASK_SHIFT},
        {QStringLiteral("ctrl+Escape"), XCB_MOD_MASK_CONTROL},
        {QStringLiteral("alt+shift+Escape"), XCB_MOD_MASK_1 | XCB_MOD_MASK_SHIFT}};
    QList<std::uint16_t> managersOwn;
    for (const auto& [chord, modifiers] : chords) {
        if (s.x().keyGrabbedByAnother(escapeKeycode(), modifiers)) {
            managersOwn.append(modifiers);
            // The window manager binds this combination (Metacity: Alt+Shift+Escape cycles its panels), so the press
            // is its own: the overlay cannot see it and stays up until a plain Escape.
            overlay.controller.show(QStringLiteral("Opening XTerm…"), std::nullopt);
            ASSERT_TRUE(xdotool({QStringLiteral("key"), chord}));
            EXPECT_FALSE(s.waitUntil([&] { return !overlay.controller.isVisible(); }, 1s)) << chord.toStdString();
            // A binding may open one of the manager's menus (IceWM: Ctrl+Escape its start menu, Shift+Escape the
            // window menu), which holds the keyboard: the first Escape closes that menu, and only the next reaches
            // the overlay, as it would for a person pressing Escape again.
            bool closed = false;
            for (int press = 0; press < 2 && !closed; ++press) {
                ASSERT_TRUE(xdotool({QStringLiteral("key"), QStringLiteral("Escape")}));
                closed = s.waitUntil([&] { return !overlay.controller.isVisible(); }, 2s);
            }
            EXPECT_TRUE(closed) << chord.toStdString();
            std::optional<QString> text;
            do
                text = client->nextText(5s);
            while (text && text->isEmpty());
            EXPECT_EQ(text, QStringLiteral("\x1b"));
            continue;
        }
        overlay.controller.show(QStringLiteral("Opening XTerm…"), std::nullopt);
        ASSERT_TRUE(overlay.controller.isVisible());
        ASSERT_TRUE(xdotool({QStringLiteral("key"), chord}));
        EXPECT_TRUE(s.waitUntil([&] { return !overlay.controller.isVisible(); })) << chord.toStdString();
        // Still delivered to the window that has the focus (after the modifiers' own presses).
        std::optional<QString> text;
        do
            text = client->nextText(5s);
        while (text && text->isEmpty());
        EXPECT_EQ(text, QStringLiteral("\x1b")) << chord.toStdString();
    }
    // Every combination the overlay held is given back with it (those the manager binds stay the manager's).
    for (const std::uint16_t modifiers : {std::uint16_t(XCB_MOD_MASK_SHIFT), std::uint16_t(XCB_MOD_MASK_CONTROL)}) {
        if (!managersOwn.contains(modifiers)) {
            EXPECT_TRUE(testCanGrab(escapeKeycode(), modifiers)) << modifiers;
        }
    }
    ASSERT_TRUE(xdotool({QStringLiteral("key"), QStringLiteral("b")}));
    EXPECT_EQ(client->nextText(5s), QStringLiteral("b"));
}

TEST(LaunchOverlayEscapeTest, anotherProgramHoldingEscapeCostsOnlyTheWatch)
{
    XTestSession& s = XTestSession::get();
    // Another program holds plain Escape.
    xcb_connection_t* other = xcb_connect(s.display().toLocal8Bit().constData(), nullptr);
    ASSERT_FALSE(xcb_connection_has_error(other));
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(other)).data->root;
    xcb_generic_error_t* error = xcb_request_check(
        other, xcb_grab_key_checked(other, 0, root, 0, escapeKeycode(), XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    ASSERT_FALSE(error);

    Overlay overlay;
    overlay.controller.show(QStringLiteral("Opening XTerm…"), std::nullopt);
    EXPECT_TRUE(overlay.controller.isVisible());
    overlay.controller.dismiss();
    EXPECT_FALSE(overlay.controller.isVisible());
    EXPECT_FALSE(overlay.controller.hasKeyMonitors());

    // Its grab is still its own: letting go of ours did not touch it.
    error = xcb_request_check(s.x().xcb(), xcb_grab_key_checked(s.x().xcb(), 0, s.x().root(), 0, escapeKeycode(),
                                                                XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    EXPECT_TRUE(error && error->error_code == 10) << "BadAccess expected";
    std::free(error);
    xcb_disconnect(other);
    EXPECT_TRUE(s.waitUntil([&] { return testCanGrab(escapeKeycode(), 0); }));
}
