// One overlay panel on X11: a borderless, click-through, override-redirect window we stack against window frames.
#pragma once

#include <QImage>
#include <memory>
#include <optional>
#include <vector>

#include <QObject>
#include <QRect>

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

    // Placed again against the window it was last ordered below (the placement changed).
    void placeAgain();
    // One of our windows or a watched one was configured, mapped, unmapped or destroyed.
    void windowChanged(xcb_window_t window);
    // The parts of the panel cut out so that the windows there stay bright (root coordinates); empty when whole.
    const std::vector<QRect>& cutOut() const { return m_holes; }

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

    // Stacked placement: whether the manager left the panel where it was put; whether it raised the focused window.
    void verifyStacking();
    void checkFocusedWindowRaised(xcb_window_t window, xcb_window_t frame);
    // Cut-out placement: above the windows, the frame and what stands above it cut out.
    void placeCutOut();
    void setHoles(std::vector<QRect> holes);
    // The frames of the managed normal windows (not above, below, docks or other kinds).
    std::vector<xcb_window_t> normalClientFrames() const;
    std::vector<xcb_window_t> rootChildren() const;
    bool isOurPanel(xcb_window_t window) const;

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
    xcb_window_t m_belowWindow = XCB_WINDOW_NONE;
    xcb_window_t m_belowFrame = XCB_WINDOW_NONE;
    std::vector<QRect> m_holes;
    bool m_recutPending = false;
    std::unique_ptr<QObject> m_guard;  // the receiver of queued re-cuts, gone with the panel
};

}  // namespace tamsinvale
