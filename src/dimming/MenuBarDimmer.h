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
    // Follows screen changes and activations from creation on; strips appear with the first apply().
    MenuBarDimmer(const Platform& platform, SettingsStore& settings, QObject* parent = nullptr);
    ~MenuBarDimmer() override;

    void apply();
    void update(double opacity);
    void removeAll();
    // After an activation: strips back on top, rebuilt first if the menu bar geometry changed.
    void reassert();

    // One frame per screen with a menu bar, in screen order (screen coordinates).
    QList<QRectF> desiredFrames() const;
    const std::vector<std::unique_ptr<OverlayPanel>>& windows() const { return m_windows; }

private:
    QList<QRectF> currentFrames() const;
    static OverlayAppearance stripAppearance(double opacity);

    Platform m_platform;
    SettingsStore& m_settings;
    std::vector<std::unique_ptr<OverlayPanel>> m_windows;
};

}  // namespace tamsinvale
