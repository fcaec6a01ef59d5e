// The panel factory: one shared context per connection, one X window per panel.
#include "X11OverlayPanels.h"

#include "X11Connection.h"
#include "X11OverlayPanel.h"
#include "platform/Logging.h"

namespace tamsinvale {

X11OverlayPanels::X11OverlayPanels(xcb_connection_t* connection, xcb_window_t root, X11PanelHooks hooks)
    : m_context(X11PanelContext::create(connection, root, std::move(hooks)))
{
}

X11OverlayPanels::X11OverlayPanels(X11Connection& connection, X11PanelHooks hooks)
    : X11OverlayPanels(connection.xcb(), connection.root(), std::move(hooks))
{
    // The panels see their own ConfigureNotify (a manager restacking them) and the windows they are cut against.
    m_context->eventsDelivered = true;
    m_context->watch = [&connection](xcb_window_t window) { connection.watchWindow(window); };
    auto changed = [context = m_context](xcb_window_t window) {
        if (!context->detached)
            context->windowChanged(window);
    };
    m_windowWatch = {QObject::connect(&connection, &X11Connection::windowConfigured, changed),
                     QObject::connect(&connection, &X11Connection::windowMapped,
                                      [changed](xcb_window_t window, bool) { changed(window); }),
                     QObject::connect(&connection, &X11Connection::windowDestroyed, changed)};
    qCInfo(lcDimming, "overlay placement: %s", qUtf8Printable(m_context->placement.reason()));
    // Watching first, then asking: a compositor starting in between is announced rather than missed.
    if (!connection.watchSelectionOwner(m_context->compositorSelection))
        return;
    const xcb_atom_t selection = m_context->compositorSelection;
    m_selectionWatch = QObject::connect(&connection, &X11Connection::selectionOwnerChanged,
                                        [this, selection](xcb_atom_t changed, xcb_window_t owner) {
                                            if (changed == selection)
                                                compositorOwnerChanged(owner != XCB_WINDOW_NONE);
                                        });
    m_context->compositing = m_context->compositorRunning();
    m_context->compositorWatched = true;
    if (!m_context->translucent())
        qCInfo(lcDimming, "overlay panels: %s, so panels cannot be see-through until a compositor starts",
               m_context->argbVisual ? "no compositor is running" : "the screen has no 32-bit visual");
}

X11OverlayPanels::~X11OverlayPanels()
{
    QObject::disconnect(m_selectionWatch);
    for (const auto& c : m_windowWatch)
        QObject::disconnect(c);
    m_context->watch = {};
    m_context->detached = true;
    m_context->hooks = {};
}

std::unique_ptr<OverlayPanel> X11OverlayPanels::createPanel(const QRectF& frame, int level)
{
    return std::make_unique<X11OverlayPanel>(m_context, frame, level);
}

void X11OverlayPanels::compositorOwnerChanged(bool running)
{
    const bool before = m_context->translucent();
    m_context->compositing = running;
    if (m_context->translucent() == before)
        return;
    qCInfo(lcDimming, "overlay panels: a compositor %s; panels are made %s from now on",
           running ? "started" : "stopped", running ? "see-through" : "opaque");
    translucencyChanged();
}

}  // namespace tamsinvale
