// Our overlay panels on X11: override-redirect windows we stack ourselves, created through one factory.
#pragma once

#include <memory>

#include "X11PanelContext.h"
#include "platform/OverlayPanels.h"

#include <xcb/xcb.h>

namespace tamsinvale {

class X11Connection;

class X11OverlayPanels : public OverlayPanels {
public:
    X11OverlayPanels(xcb_connection_t* connection, xcb_window_t root, X11PanelHooks hooks = {});
    X11OverlayPanels(X11Connection& connection, X11PanelHooks hooks = {});
    ~X11OverlayPanels() override;

    std::unique_ptr<OverlayPanel> createPanel(const QRectF& frame, int level) override;
    const X11PanelContext& context() const { return *m_context; }

private:
    std::shared_ptr<X11PanelContext> m_context;
};

}  // namespace tamsinvale
