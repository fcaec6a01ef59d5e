// The panel factory: one shared context per connection, one X window per panel.
#include "X11OverlayPanels.h"

#include "X11Connection.h"
#include "X11OverlayPanel.h"

namespace tamsinvale {

X11OverlayPanels::X11OverlayPanels(xcb_connection_t* connection, xcb_window_t root, X11PanelHooks hooks)
    : m_context(X11PanelContext::create(connection, root, std::move(hooks)))
{
}

X11OverlayPanels::X11OverlayPanels(X11Connection& connection, X11PanelHooks hooks)
    : X11OverlayPanels(connection.xcb(), connection.root(), std::move(hooks))
{
}

X11OverlayPanels::~X11OverlayPanels()
{
    m_context->detached = true;
    m_context->hooks = {};
}

std::unique_ptr<OverlayPanel> X11OverlayPanels::createPanel(const QRectF& frame, int level)
{
    return std::make_unique<X11OverlayPanel>(m_context, frame, level);
}

}  // namespace tamsinvale
