// The xcb connection Qt already holds, the atoms we use, and the X events we care about as Qt signals.
#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>
#include <QSet>
#include <chrono>
#include <optional>

#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>

namespace tamsinvale {

// Atoms the EWMH helper does not intern for us.
struct X11Atoms {
    xcb_atom_t gtkApplicationId = XCB_ATOM_NONE;
    xcb_atom_t wmS0 = XCB_ATOM_NONE;
    xcb_atom_t edid = XCB_ATOM_NONE;
    xcb_atom_t resourceManager = XCB_ATOM_NONE;
};

class X11Connection : public QObject, public QAbstractNativeEventFilter {
    Q_OBJECT
public:
    // Borrows a connection that someone else keeps open (Qt's, normally). Installs itself as a native
    // event filter of the running application when `filterQtEvents` is set.
    X11Connection(xcb_connection_t* connection, int screenNumber, bool filterQtEvents, QObject* parent = nullptr);
    ~X11Connection() override;

    xcb_connection_t* xcb() const { return m_connection; }
    xcb_ewmh_connection_t* ewmh() { return &m_ewmh; }
    const xcb_ewmh_connection_t* ewmh() const { return &m_ewmh; }
    const X11Atoms& atoms() const { return m_atoms; }
    xcb_window_t root() const { return m_root; }
    bool hasRandr15() const { return m_randr15; }
    bool hasRes() const { return m_res; }
    bool isBroken() const { return xcb_connection_has_error(m_connection) != 0; }

    // Events from a connection nobody else reads (tests, benchmarks): drains what has arrived.
    void dispatchPendingEvents();

    // Also see structure and property changes of another client's window (moves, resizes, state). Never for our
    // own windows: on this connection that would replace the events Qt selected for them.
    void watchWindow(xcb_window_t window);
    bool isWatched(xcb_window_t window) const { return m_watched.contains(window); }
    // True when nobody else reads this connection's events (no Qt filter): readers then drain them themselves.
    bool ownsEvents() const { return m_ownsEvents; }
    // Announces through `selectionOwnerChanged` each time `selection` changes hands (a compositor's _NET_WM_CM_Sn
    // when it starts or stops). False without the XFixes extension.
    bool watchSelectionOwner(xcb_atom_t selection);

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    void handleEvent(const xcb_generic_event_t* event);
    // The server time of the property change being announced (or the last one announced).
    xcb_timestamp_t lastPropertyTime() const { return m_lastPropertyTime; }
    // The server time of the user's latest key or button press, wherever it went, when it came no longer than
    // `within` ago (our clock); nothing otherwise.
    std::optional<xcb_timestamp_t> recentInputTime(std::chrono::milliseconds within) const;

signals:
    void propertyChanged(xcb_window_t window, xcb_atom_t atom);
    void windowConfigured(xcb_window_t window);
    void windowDestroyed(xcb_window_t window);
    void windowMapped(xcb_window_t window, bool mapped);
    // Monitors, outputs or the root size changed.
    void screenLayoutChanged();
    // A pointer button went down anywhere on the desktop (the press still goes where it went).
    void buttonPressed(std::uint32_t button);
    // A key went down, whoever gets the press (a grab of another client included).
    void keyPressedAnywhere(xcb_keycode_t keycode, xcb_timestamp_t time);
    void keyReleasedAnywhere(xcb_keycode_t keycode);
    // A watched selection has a new owner (none: nobody holds it now).
    void selectionOwnerChanged(xcb_atom_t selection, xcb_window_t owner);

private:
    void selectRootEvents();

    xcb_connection_t* m_connection = nullptr;
    xcb_ewmh_connection_t m_ewmh{};
    X11Atoms m_atoms;
    xcb_window_t m_root = XCB_WINDOW_NONE;
    uint8_t m_randrEventBase = 0;
    uint8_t m_xinputOpcode = 0;
    uint8_t m_xfixesEventBase = 0;
    bool m_xfixesAnnounced = false;
    bool m_randr15 = false;
    bool m_res = false;
    bool m_filterInstalled = false;
    bool m_ownsEvents = false;
    QSet<xcb_window_t> m_watched;
    xcb_timestamp_t m_lastPropertyTime = XCB_CURRENT_TIME;
    xcb_timestamp_t m_lastInputTime = XCB_CURRENT_TIME;
    std::chrono::steady_clock::time_point m_lastInputSeen;
    void noteInput(xcb_timestamp_t time);
};

}  // namespace tamsinvale
