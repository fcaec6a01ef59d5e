// The X11 keyboard capture against a real server: while it runs nobody else gets the keyboard, presses arrive as
// macOS key codes with unshifted text, keys typed with a modifier held are typing, and ending it gives the keyboard
// back.
#include <gtest/gtest.h>

#include "XTestSession.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11KeyboardCapture.h"

#include <xcb/xcb.h>

using namespace tamsinvale;
using namespace tamsinvale::x11test;
using namespace std::chrono_literals;

namespace {

}  // namespace

TEST(X11KeyboardCapture, takesTheKeyboardTranslatesPressesAndGivesItBack)
{
    XTestSession& s = XTestSession::get();
    X11KeyboardCapture capture(s.desktop().connection());
    QList<CapturedKey> keys;
    ASSERT_TRUE(capture.begin([&](const CapturedKey& k) { keys.append(k); }));
    EXPECT_TRUE(capture.isCapturing());
    EXPECT_TRUE(s.x().keyboardGrabbedByAnother());

    // z comes last, so that once it is in, everything before it has been seen or left out.
    ASSERT_TRUE(s.tool({"xdotool", "key", "--delay", "0", "a", "shift+b", "Escape", "Return", "Down", "super+x", "z"}));
    ASSERT_TRUE(s.waitUntil([&] { return !keys.isEmpty() && keys.last().text == "z"; }, 10s)) << keys.size();
    ASSERT_EQ(keys.size(), 7);
    EXPECT_EQ(keys[0].keyCode, 0u);
    EXPECT_EQ(keys[0].text, "a");
    EXPECT_EQ(keys[0].modifiers, 0u);
    EXPECT_EQ(keys[1].keyCode, 11u);
    EXPECT_EQ(keys[1].text, "b");  // characters ignoring modifiers
    EXPECT_EQ(keys[1].modifiers, 0x200u);
    EXPECT_EQ(keys[2].keyCode, 53u);
    EXPECT_TRUE(keys[2].text.isEmpty());
    EXPECT_EQ(keys[3].keyCode, 36u);
    EXPECT_EQ(keys[4].keyCode, 125u);
    // With Super held (no hotkey of ours here) x is still typing: its plain character, Command for the record.
    EXPECT_EQ(keys[5].keyCode, 7u);
    EXPECT_EQ(keys[5].text, "x");
    EXPECT_EQ(keys[5].modifiers, 0x100u);
    EXPECT_EQ(keys[6].keyCode, 6u);

    capture.end();
    EXPECT_FALSE(capture.isCapturing());
    EXPECT_TRUE(s.waitUntil([&] { return !s.x().keyboardGrabbedByAnother(); }, 5s));

    // While another program holds the keyboard the capture is refused.
    xcb_connection_t* c = s.x().xcb();
    free(xcb_grab_keyboard_reply(
        c, xcb_grab_keyboard(c, 0, s.x().root(), XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC), nullptr));
    EXPECT_FALSE(capture.begin([](const CapturedKey&) {}));
    xcb_ungrab_keyboard(c, XCB_CURRENT_TIME);
    xcb_flush(c);
}
