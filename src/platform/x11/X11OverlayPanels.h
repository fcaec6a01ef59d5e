// Our overlay panels on X11: override-redirect windows we stack ourselves, created through one factory.
#pragma once

#include <QMetaObject>
#include <memory>
#include <vector>

#include "X11PanelContext.h"
#include "platform/OverlayPanels.h"

#include <xcb/xcb.h>

namespace tamsinvale {

class X11Connection;

class X11OverlayPanels : public OverlayPanels {
public:
    // On a connection nobody else reads, the compositor is asked about at each panel and changes are not announced.
    X11OverlayPanels(xcb_connection_t* connection, xcb_window_t root, X11PanelHooks hooks = {});
    // Watches the compositor selection (_NET_WM_CM_Sn): a compositor that starts or stops later is announced to the
    // translucency observers.
    X11OverlayPanels(X11Connection& connection, X11PanelHooks hooks = {});
    ~X11OverlayPanels() override;

    std::unique_ptr<OverlayPanel> createPanel(const QRectF& frame, int level) override;
    bool translucencyAvailable() const override { return m_context->translucent(); }
    const X11PanelContext& context() const { return *m_context; }

private:
    void compositorOwnerChanged(bool running);

    std::shared_ptr<X11PanelContext> m_context;
    QMetaObject::Connection m_selectionWatch;
    std::vector<QMetaObject::Connection> m_windowWatch;
};

}  // namespace tamsinvale
