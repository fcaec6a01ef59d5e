// Darkens every screen's menu bar (on X11 the panel along a monitor's top edge) with a translucent black strip.
#pragma once

#include <QList>
#include <QObject>
#include <QRectF>
#include <memory>
#include <vector>

#include "platform/Platform.h"

namespace tamsinvale {

class SettingsStore;

class MenuBarDimmer : public QObject {
    Q_OBJECT
public:
    // While a full-screen window is in front on a screen, that screen's strip is held back; it is looked for
    // again this often until the window leaves full screen.
    static constexpr double fullScreenCheckSeconds = 0.5;

    // Follows screen changes, activations and the arrival or departure of a compositor from creation on; strips
    // appear with the first apply().
    MenuBarDimmer(const Platform& platform, SettingsStore& settings, QObject* parent = nullptr);
    ~MenuBarDimmer() override;

    void apply();
    void update(double opacity);
    void removeAll();
    // After an activation: strips back on top, rebuilt first if the menu bar geometry changed.
    void reassert();
    // A window may have gone full screen without an activation (the focus dimmer saw it): strips step aside.
    void checkFullScreen();

    // One frame per screen with a menu bar, in screen order (screen coordinates).
    QList<QRectF> desiredFrames() const;
    const std::vector<std::unique_ptr<OverlayPanel>>& windows() const { return m_windows; }

private:
    struct Strip {
        QRectF frame;
        QRectF screen;
    };
    QList<Strip> desiredStrips() const;
    QList<QRectF> currentFrames() const;
    static OverlayAppearance stripAppearance(double opacity);
    // Shows each strip unless a full-screen window is in front on its screen (then it is ordered out); `raise`
    // brings the shown ones back to the top even when they are up already.
    void placeStrips(bool raise);
    bool fullScreenInFront(const QRectF& screen, const WindowSnapshot& windows) const;
    void translucencyChanged();

    Platform m_platform;
    SettingsStore& m_settings;
    std::vector<std::unique_ptr<OverlayPanel>> m_windows;
    QList<QRectF> m_stripScreens;
    TaskHandle m_fullScreenCheck;
    std::shared_ptr<void> m_translucencyWatch;
    bool m_loggedNoTranslucency = false;
};

}  // namespace tamsinvale
