// Borderless, click-through panels of our own: dimming overlays, menu bar strips, launch cards.
#pragma once

#include <QColor>
#include <QImage>
#include <QRectF>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "WindowList.h"

namespace tamsinvale {

// What a panel shows, bottom to top: `fill` colour, the picture (aspect-fill over the full height including
// `topInset`, which is clipped), then a black layer of `darkening` alpha. A content image (a rendered card)
// replaces all three when set.
struct OverlayAppearance {
    QColor fill = Qt::black;
    std::optional<QImage> picture;
    double darkening = 0.0;
    double topInset = 0.0;
    std::optional<QImage> content;

    bool operator==(const OverlayAppearance& o) const
    {
        return fill == o.fill && picture.has_value() == o.picture.has_value()
            && (!picture || picture->cacheKey() == o.picture->cacheKey()) && darkening == o.darkening
            && topInset == o.topInset && content.has_value() == o.content.has_value()
            && (!content || content->cacheKey() == o.content->cacheKey());
    }
};

class OverlayPanel {
public:
    virtual ~OverlayPanel() = default;

    // The panel's own number in the window list.
    virtual WindowNumber windowNumber() const = 0;
    virtual int level() const = 0;
    // Screen coordinates (origin bottom-left of the primary display, y up).
    virtual QRectF frame() const = 0;
    virtual void setFrame(const QRectF& frame) = 0;
    virtual void setAppearance(const OverlayAppearance& appearance) = 0;
    virtual void setAlpha(double alpha) = 0;
    virtual void setHasShadow(bool shadow) = 0;

    // Directly below another window of any application; a window that has gone is not an error.
    virtual void orderBelow(WindowNumber window) = 0;
    // Above every window of its level, whichever application is active.
    virtual void orderFrontRegardless() = 0;
    virtual void orderOut() = 0;
    virtual bool isVisible() const = 0;
};

class OverlayPanels {
public:
    virtual ~OverlayPanels() = default;
    // A new hidden panel at a window level (WindowLevel); it ignores the mouse.
    virtual std::unique_ptr<OverlayPanel> createPanel(const QRectF& frame, int level) = 0;

    // Whether panels made now can be see-through (a translucent fill, an alpha below 1 show what lies beneath).
    // Always on macOS; on X11 only while a compositor runs. Without it a translucent layer would be painted
    // opaque, so such layers are better left out.
    virtual bool translucencyAvailable() const { return true; }
    // `onChange` runs on the main thread each time translucencyAvailable() changes (a compositor started or
    // stopped). Panels made before keep what they were made with: rebuild them. Drop the token to stop.
    std::shared_ptr<void> observeTranslucency(std::function<void()> onChange);

protected:
    void translucencyChanged();

private:
    std::vector<std::weak_ptr<std::function<void()>>> m_translucencyObservers;
};

}  // namespace tamsinvale
