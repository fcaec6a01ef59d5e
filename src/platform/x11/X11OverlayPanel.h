// One overlay panel on X11: a borderless, click-through, override-redirect window we stack against window frames.
#pragma once

#include <QImage>
#include <memory>
#include <optional>

#include "platform/OverlayPanels.h"

#include <xcb/xcb.h>

namespace tamsinvale {

struct X11PanelContext;

class X11OverlayPanel : public OverlayPanel {
public:
    // Created unmapped, already at its frame, so its first appearance shows nothing but itself.
    X11OverlayPanel(std::shared_ptr<X11PanelContext> context, const QRectF& frame, int level);
    ~X11OverlayPanel() override;

    WindowNumber windowNumber() const override { return m_window; }
    int level() const override { return m_level; }
    QRectF frame() const override { return m_frame; }
    void setFrame(const QRectF& frame) override;
    void setAppearance(const OverlayAppearance& appearance) override;
    void setAlpha(double alpha) override;
    void setHasShadow(bool shadow) override { m_shadow = shadow; }
    void orderBelow(WindowNumber window) override;
    void orderFrontRegardless() override;
    void orderOut() override;
    bool isVisible() const override { return m_mapped; }

    bool hasShadow() const { return m_shadow; }
    double alpha() const { return m_alpha; }
    bool isTranslucent() const { return m_depth == 32; }
    // The picture as drawn, at the panel's size (what the server shows unless a compositor applies alpha).
    QImage renderedImage() const;

    // The window manager's frame around a client (its ancestor that is a child of the root); none when gone.
    static xcb_window_t topLevelOf(xcb_connection_t* connection, xcb_window_t window);

private:
    // The server cannot be reached (connection broken, or its owner gone).
    bool offline() const;
    QRect rootRect(const QRectF& frame) const;
    // Places the window relative to `sibling` (none: the whole stack) and maps it if it was not; false on refusal.
    bool restack(xcb_window_t sibling, std::uint32_t stackMode);
    void show();
    void repaint();
    // Cuts what a content picture leaves transparent out of an opaque window.
    void updateShape();
    bool uploadBackground(const QImage& image);
    // The frame of the topmost normal-level client; none when there is none, nothing without a client list.
    std::optional<xcb_window_t> topmostNormalFrame() const;

    std::shared_ptr<X11PanelContext> m_context;
    xcb_connection_t* m_connection;
    xcb_window_t m_window = XCB_WINDOW_NONE;
    xcb_pixmap_t m_background = XCB_NONE;
    xcb_colormap_t m_colormap = XCB_NONE;
    std::uint8_t m_depth = 24;
    QRectF m_frame;
    QRect m_rootRect;
    int m_level;
    OverlayAppearance m_appearance;
    bool m_hasAppearance = false;
    double m_alpha = 1.0;
    bool m_shadow = false;
    bool m_mapped = false;
    bool m_shaped = false;
};

}  // namespace tamsinvale
