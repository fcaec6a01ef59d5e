// The one owner of everything that touches the X server: the connection and the read-side backends over it.
#pragma once

#include <QObject>
#include <memory>

#include "X11PanelContext.h"
#include "platform/Platform.h"

#include <xcb/xcb.h>

namespace tamsinvale {

class X11Accessibility;
class X11ApplicationLauncher;
class X11Connection;
class X11Screens;
class X11WindowActions;
class X11WindowList;
class X11WindowReader;
class X11Workspace;

class X11Desktop : public QObject {
    Q_OBJECT
public:
    // On Qt's xcb connection; null when the application does not run on X11 (Wayland, offscreen).
    static std::unique_ptr<X11Desktop> create(QObject* parent = nullptr);
    // On a connection the caller owns and keeps open; events are read only when `dispatchPendingEvents` is called
    // unless `filterQtEvents` hands them over from Qt.
    X11Desktop(xcb_connection_t* connection, int screenNumber, bool filterQtEvents, QObject* parent = nullptr);
    ~X11Desktop() override;

    X11Connection& connection() { return *m_connection; }
    const X11WindowReader& reader() const { return *m_reader; }
    X11Screens& screens() { return *m_screens; }
    X11WindowList& windowList() { return *m_windowList; }
    X11Workspace& workspace() { return *m_workspace; }
    X11Accessibility& accessibility() { return *m_accessibility; }
    X11WindowActions& actions() { return *m_actions; }
    X11ApplicationLauncher& launcher() { return *m_launcher; }

    // Fills the families this port provides; the others are left as they are.
    void fill(Platform& platform);

    // Our own override-redirect panels (overlays, strips, cards) are listed among the clients, with our pid.
    void registerOwnPanel(WindowNumber window, int level);
    void unregisterOwnPanel(WindowNumber window);

    void dispatchPendingEvents();

    // Hooks for overlay panels on this desktop: listed while shown, frames found through the shared reader.
    // `primaryMonitor` stays the caller's to set.
    X11PanelHooks panelHooks();

private:
    std::unique_ptr<X11Connection> m_connection;
    std::unique_ptr<X11WindowReader> m_reader;
    std::unique_ptr<X11Screens> m_screens;
    std::unique_ptr<X11Workspace> m_workspace;
    std::unique_ptr<X11WindowList> m_windowList;
    std::unique_ptr<X11Accessibility> m_accessibility;
    std::unique_ptr<X11WindowActions> m_actions;
    std::unique_ptr<X11ApplicationLauncher> m_launcher;
};

}  // namespace tamsinvale
