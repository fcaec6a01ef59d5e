// The tests' own connection to the X server: reading X state independently of the code under test, and waiting.
#pragma once

#include <QList>
#include <QRect>
#include <QString>
#include <chrono>
#include <functional>
#include <optional>

#include <xcb/xcb.h>

namespace tamsinvale::x11test {

struct MonitorSpec {
    QString name;
    QRect rect;
    bool primary = false;
};

class XTestDisplay {
public:
    explicit XTestDisplay(const QString& display);
    ~XTestDisplay();
    XTestDisplay(const XTestDisplay&) = delete;
    XTestDisplay& operator=(const XTestDisplay&) = delete;

    bool isOpen() const { return m_connection && !xcb_connection_has_error(m_connection); }
    xcb_connection_t* xcb() const { return m_connection; }
    xcb_window_t root() const { return m_root; }

    xcb_atom_t atom(const char* name);
    QList<uint32_t> cardinals(xcb_window_t window, const char* property);
    QString text(xcb_window_t window, const char* property);
    xcb_window_t selectionOwner(const char* selection);
    // Whether another client holds a passive grab of this key combination on the root / the keyboard itself:
    // our own grab attempt is refused then (and released again when it was granted).
    bool keyGrabbedByAnother(xcb_keycode_t keycode, std::uint16_t modifiers);
    bool keyboardGrabbedByAnother();
    // The window manager's frame around a client: its child-of-root ancestor.
    xcb_window_t topLevelAncestor(xcb_window_t window);
    bool windowExists(xcb_window_t window);

    // Replaces the server's monitors by these (the first output goes to the first one, so the automatic monitor
    // disappears). The server drops monitors set by a client when it disconnects, so this connection holds them.
    bool setMonitors(const QList<MonitorSpec>& monitors);

    // Checks `predicate`, then waits for X events (on this connection) or Qt events and checks again, until it
    // holds or the deadline passes. Wakes at least every 50 ms for state that announces itself to nobody.
    bool waitUntil(const std::function<bool()>& predicate, std::chrono::milliseconds timeout);

private:
    void drain();
    xcb_connection_t* m_connection = nullptr;
    xcb_window_t m_root = XCB_WINDOW_NONE;
    QList<xcb_atom_t> m_monitorNames;
};

}  // namespace tamsinvale::x11test
