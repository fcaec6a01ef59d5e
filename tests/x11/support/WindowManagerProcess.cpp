// Starts a window manager with a private home and waits for it to own the screen.
#include "WindowManagerProcess.h"

#include "XTestDisplay.h"

#include <xcb/xcb.h>

namespace tamsinvale::x11test {

std::unique_ptr<WindowManagerProcess> WindowManagerProcess::start(Kind kind, const QString& display, XTestDisplay& x,
                                                                  std::chrono::milliseconds timeout)
{
    auto wm = std::unique_ptr<WindowManagerProcess>(new WindowManagerProcess);
    if (!wm->m_home.isValid())
        return nullptr;
    const QString home = wm->m_home.path();
    QStringList argv;
    switch (kind) {
    case Kind::openbox:
        argv = {QStringLiteral("openbox"), QStringLiteral("--sm-disable")};
        break;
    }
    wm->m_process = ChildProcess::start(argv,
                                        {QStringLiteral("DISPLAY=") + display, QStringLiteral("HOME=") + home,
                                         QStringLiteral("XDG_CONFIG_HOME=") + home + QStringLiteral("/.config"),
                                         QStringLiteral("XDG_CACHE_HOME=") + home + QStringLiteral("/.cache")},
                                        false);
    if (!wm->m_process)
        return nullptr;
    // EWMH: the manager owns WM_S0 and points _NET_SUPPORTING_WM_CHECK at a window that points at itself.
    const bool ready = x.waitUntil(
        [&x] {
            if (x.selectionOwner("WM_S0") == XCB_WINDOW_NONE)
                return false;
            const auto check = x.cardinals(x.root(), "_NET_SUPPORTING_WM_CHECK");
            if (check.isEmpty() || check.first() == XCB_WINDOW_NONE)
                return false;
            const auto self = x.cardinals(check.first(), "_NET_SUPPORTING_WM_CHECK");
            return !self.isEmpty() && self.first() == check.first();
        },
        timeout);
    if (!ready || !wm->m_process->running())
        return nullptr;
    // Openbox announces itself before it has finished starting, and a map request that arrives in between can be
    // dropped. It is ready once it manages a probe window; the probe's map request is repeated until then.
    xcb_connection_t* c = x.xcb();
    const xcb_window_t probe = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, probe, x.root(), 0, 0, 10, 10, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    bool managed = false;
    while (!managed && std::chrono::steady_clock::now() < deadline) {
        xcb_map_window(c, probe);
        xcb_flush(c);
        managed = x.waitUntil([&x, probe] { return x.cardinals(x.root(), "_NET_CLIENT_LIST").contains(probe); },
                              std::chrono::milliseconds(500));
    }
    xcb_destroy_window(c, probe);
    xcb_flush(c);
    const bool gone = x.waitUntil([&x, probe] { return !x.cardinals(x.root(), "_NET_CLIENT_LIST").contains(probe); },
                                  timeout);
    if (!managed || !gone)
        return nullptr;
    // Its key bindings come last; until they are grabbed, tests of who owns a combination would race it.
    constexpr xcb_keycode_t left = 113;  // Left, evdev keycodes (Xvfb's keymap); Openbox binds Ctrl+Alt+Left
    if (!x.waitUntil([&x] { return x.keyGrabbedByAnother(left, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1); }, timeout))
        return nullptr;
    return wm;
}

}  // namespace tamsinvale::x11test
