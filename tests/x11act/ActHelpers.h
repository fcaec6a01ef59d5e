// Shared steps of the act-side X11 tests: keyboard lock states, xdotool, and the input-reporting client.
#pragma once

#include <QList>
#include <QRect>
#include <QString>
#include <QStringList>
#include <memory>
#include <optional>

#include "ChildProcess.h"

#include <xcb/xcb.h>

namespace tamsinvale::x11test {

// The modifier and lock state the server reports for the core keyboard.
std::uint16_t keyboardState();
// Toggles NumLock or CapsLock through xdotool until the server reports `on`; false when it never does.
bool setLock(const char* keysymName, std::uint16_t mask, bool on);
std::uint16_t numLockMask();

// Children of the root, bottom to top, read on the test's own connection.
QList<xcb_window_t> rootChildren();
// True when `panel` lies directly below the window manager's frame of `client` among the root's children.
bool directlyBelowFrameOf(xcb_window_t panel, xcb_window_t client);
bool isMapped(xcb_window_t window);
// Root coordinates of a child of the root.
QRect rootGeometry(xcb_window_t window);
// What the screen shows at a point of the root (no compositor: the frontmost window's own pixels), as 0xRRGGBB.
std::optional<std::uint32_t> screenPixel(int x, int y);

// Whether the test's own connection may grab the combination in every lock variant: false when anyone holds one.
bool testCanGrab(xcb_keycode_t keycode, std::uint16_t mask);

// What a person would see, kept as a test artifact for looking at; never compared.
void screenshot(const QString& name);

// Runs xdotool against the test display; false when it failed.
bool xdotool(const QStringList& arguments);

// The input client: one window that prints what reaches it.
class InputClient {
public:
    static std::unique_ptr<InputClient> start(const QString& title, int x, int y, int width, int height);
    xcb_window_t window() const { return m_window; }
    // The next "text …" or "click …" line it printed, without its tag.
    std::optional<QString> nextText(std::chrono::milliseconds timeout);
    std::optional<QString> nextClick(std::chrono::milliseconds timeout);
    ChildProcess& process() { return *m_process; }

private:
    std::optional<QString> next(const QString& tag, std::chrono::milliseconds timeout);
    std::unique_ptr<ChildProcess> m_process;
    xcb_window_t m_window = XCB_WINDOW_NONE;
    QStringList m_pending;
};

}  // namespace tamsinvale::x11test
