// Acting on other applications' windows through the window manager: frames, raising, focus and activation.
#pragma once

#include <QByteArray>
#include <QList>
#include <QMargins>
#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QSizeF>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include <xcb/xcb.h>

namespace tamsinvale {

class X11Connection;
class X11Screens;
class X11ServerTime;
class X11WindowReader;

class X11WindowActions {
public:
    // Requests go out on `connection` (Qt's); confirmations are awaited on a private connection to `display`
    // (DISPLAY when empty), so that waiting never runs Qt's event loop under the caller.
    X11WindowActions(X11Connection& connection, const X11WindowReader& reader, const X11Screens& screens,
                     const QByteArray& display = {});
    ~X11WindowActions();
    X11WindowActions(const X11WindowActions&) = delete;
    X11WindowActions& operator=(const X11WindowActions&) = delete;

    // Places a client's frame (decorations included) at `frame`, in accessibility coordinates (origin at the
    // primary monitor's top-left, y down). A maximised window is restored first; a full-screen one is left as it
    // is. Returns the frame the manager applied, which can be smaller (resize increments, minimum and maximum
    // sizes) or moved (kept on screen); nothing when the window is gone.
    std::optional<QRectF> setFrame(xcb_window_t window, const QRectF& frame);
    std::optional<QRectF> setPosition(xcb_window_t window, const QPointF& topLeft);
    std::optional<QRectF> setSize(xcb_window_t window, const QSizeF& size);

    // Above every other window, without giving it the focus. False when the window is gone.
    bool raise(xcb_window_t window);
    // Makes it the active window (the manager raises it too), showing its virtual desktop first when it is on
    // another one. True once the manager reports it active.
    bool focus(xcb_window_t window);
    // Whether an activation waits for the manager's answer, or returns once its request is sent (the answer is
    // looked at later, and only logged).
    enum class Confirmation { wait, later };
    // Brings an application forward: its frontmost window, and with `allWindows` every other window of it too
    // (in their present order, just below it). True once the manager reports one of them active (`wait`), or
    // once the request is on its way (`later`).
    bool activateApplication(std::int32_t pid, bool allWindows, Confirmation confirmation = Confirmation::wait);

    // Asks a client window to close the way its own close button would: `_NET_CLOSE_WINDOW` through the manager
    // (plain WM_DELETE_WINDOW without an EWMH manager), so the application can ask about unsaved work or refuse.
    // Only a window that takes part in WM_DELETE_WINDOW is asked: managers kill the others outright. False when
    // the window is gone or does not take part.
    bool requestClose(xcb_window_t window);
    // The same for every window of a process; true when at least one was asked.
    bool requestCloseApplication(std::int32_t pid);

    // A real server timestamp, for requests the manager judges by time (focus stealing prevention).
    xcb_timestamp_t serverTime();
    // The time a request asked for by the user carries: their latest press when it was just now, else `serverTime`.
    xcb_timestamp_t userTime();

    // How long to wait for the manager's answer to one request.
    void setManagerTimeout(std::chrono::milliseconds timeout) { m_managerTimeout = timeout; }

private:
    struct Helper;
    struct SizeHints;
    // Where a client is now (root coordinates) and the decorations around it, read afresh.
    struct Placement {
        bool exists = false;
        QRect client;
        QMargins extents;
        QRect frame() const { return client.marginsAdded(extents); }
    };
    Placement placement(xcb_window_t window) const;
    // The outline of the window the manager reparented a client into (root coordinates): what the user sees of
    // it where the manager announces no decorations (i3). Nothing for a client that is a child of the root.
    std::optional<QRect> frameWindowGeometry(xcb_window_t window) const;

    std::optional<QRect> moveResize(xcb_window_t window, const QRect& rootFrame);
    bool unmaximize(xcb_window_t window);
    // One move-and-resize request: the frame's top-left, and the client's size.
    void request(xcb_window_t window, const QRect& frameAtClientSize);
    bool activate(xcb_window_t window, const QList<xcb_window_t>& accepted,
                  Confirmation confirmation = Confirmation::wait);
    void checkActivationLater(xcb_window_t window, const QList<xcb_window_t>& accepted);
    // Switches to the virtual desktop the window is on, when that is not the one shown; false when it vanished.
    bool managerSupports(xcb_atom_t atom) const;
    void sendToManager(xcb_window_t window, xcb_atom_t type, const std::uint32_t (&data)[5]);
    void watch(xcb_window_t window);
    // Runs until `done` holds (checked first) or the deadline passes; false when the window was destroyed. With
    // `settle`, a quiet moment after the window's first configure event also ends the wait.
    bool waitFor(xcb_window_t window, const std::function<bool()>& done, std::chrono::milliseconds timeout,
                 bool settle = false);
    SizeHints sizeHints(xcb_window_t window) const;
    QList<xcb_atom_t> atoms(xcb_window_t window, xcb_atom_t property) const;
    xcb_atom_t deleteWindowAtom();

    X11Connection& m_connection;
    const X11WindowReader& m_reader;
    const X11Screens& m_screens;
    std::unique_ptr<Helper> m_helper;
    std::chrono::milliseconds m_managerTimeout{1000};
    // Expires with this object: a later look at an activation's outcome must not outlive it.
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
    xcb_atom_t m_deleteWindow = XCB_ATOM_NONE;
};

}  // namespace tamsinvale
