// Wires the X11 read-side backends to one connection.
#include "X11Desktop.h"

#include "X11Accessibility.h"
#include "X11ApplicationLauncher.h"
#include "X11Connection.h"
#include "X11Screens.h"
#include "X11WindowActions.h"
#include "X11WindowList.h"
#include "X11WindowReader.h"
#include "X11Workspace.h"

#include <QGuiApplication>
#include <cstdlib>

namespace tamsinvale {

std::unique_ptr<X11Desktop> X11Desktop::create(QObject* parent)
{
    auto* app = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!app || !app->connection())
        return nullptr;
    int screen = 0;
    char* host = nullptr;
    int display = 0;
    // Qt opens DISPLAY's default screen; our root must be Qt's root.
    if (xcb_parse_display(nullptr, &host, &display, &screen) == 0)
        screen = 0;
    std::free(host);
    return std::make_unique<X11Desktop>(app->connection(), screen, true, parent);
}

X11Desktop::X11Desktop(xcb_connection_t* connection, int screenNumber, bool filterQtEvents, QObject* parent)
    : QObject(parent)
{
    m_connection = std::make_unique<X11Connection>(connection, screenNumber, filterQtEvents);
    m_reader = std::make_unique<X11WindowReader>(*m_connection);
    m_screens = std::make_unique<X11Screens>(*m_connection, *m_reader);
    m_workspace = std::make_unique<X11Workspace>(*m_connection, *m_reader);
    X11Workspace* workspace = m_workspace.get();
    m_windowList = std::make_unique<X11WindowList>(*m_connection, *m_reader, *m_screens,
                                                   [workspace](const X11Window& w) { return workspace->ownerName(w); });
    m_accessibility = std::make_unique<X11Accessibility>(*m_connection, *m_reader, *m_screens, *m_workspace);
    m_actions = std::make_unique<X11WindowActions>(*m_connection, *m_reader, *m_screens);
    m_launcher = std::make_unique<X11ApplicationLauncher>(*m_connection, *m_reader, m_actions.get());
    m_workspace->setActions(m_actions.get(), m_launcher.get());
    m_accessibility->setActions(m_actions.get());
}

X11Desktop::~X11Desktop()
{
    // Observers and signal connections go before the connection they listen to.
    m_accessibility.reset();
    m_workspace->setActions(nullptr, nullptr);
    m_launcher.reset();
    m_actions.reset();
    m_windowList.reset();
    m_workspace.reset();
    m_screens.reset();
    m_reader.reset();
    m_connection.reset();
}

void X11Desktop::fill(Platform& platform)
{
    platform.accessibility = m_accessibility.get();
    platform.screens = m_screens.get();
    platform.windowList = m_windowList.get();
    platform.workspace = m_workspace.get();
}

void X11Desktop::registerOwnPanel(WindowNumber window, int level) { m_windowList->registerOwnPanel(window, level); }

void X11Desktop::unregisterOwnPanel(WindowNumber window) { m_windowList->unregisterOwnPanel(window); }

void X11Desktop::dispatchPendingEvents() { m_connection->dispatchPendingEvents(); }

X11PanelHooks X11Desktop::panelHooks()
{
    X11PanelHooks hooks;
    hooks.primaryMonitor = [this] {
        const QList<X11Monitor> monitors = m_screens->monitors();
        return monitors.isEmpty() ? QRect() : monitors.first().rect;
    };
    hooks.shown = [this](WindowNumber window, int level) { registerOwnPanel(window, level); };
    hooks.hidden = [this](WindowNumber window) { unregisterOwnPanel(window); };
    hooks.frameOf = [this](xcb_window_t window) { return m_reader->topLevelAncestors({window}).first(); };
    return hooks;
}

}  // namespace tamsinvale
