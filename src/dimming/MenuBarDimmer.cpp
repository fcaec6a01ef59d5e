// Menu bar strips: rebuilt only when the menu bar geometry changes, recoloured in place otherwise.
#include "MenuBarDimmer.h"

#include <algorithm>
#include <cmath>

#include "MenuBarGeometry.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

MenuBarDimmer::MenuBarDimmer(const Platform& platform, SettingsStore& settings, QObject* parent)
    : QObject(parent), m_platform(platform), m_settings(settings)
{
    connect(m_platform.screens, &Screens::screensChanged, this, &MenuBarDimmer::apply);
    connect(m_platform.workspace, &Workspace::applicationActivated, this, &MenuBarDimmer::reassert);
}

MenuBarDimmer::~MenuBarDimmer() { removeAll(); }

QList<QRectF> MenuBarDimmer::desiredFrames() const
{
    const QList<ScreenInfo> screens = m_platform.screens->screens();
    QList<QRectF> frames;
    for (const ScreenInfo& s : screens) {
        // A fresh read per screen, as the overlays do: a panel that just appeared counts at once.
        const double h = MenuBarGeometry::menuBarHeight(s, screens, m_platform.windowList->onScreenWindows());
        if (h > 0)
            frames.append(QRectF(s.frame.x(), s.frame.y() + s.frame.height() - h, s.frame.width(), h));
    }
    return frames;
}

QList<QRectF> MenuBarDimmer::currentFrames() const
{
    QList<QRectF> frames;
    for (const auto& w : m_windows)
        frames.append(w->frame());
    return frames;
}

OverlayAppearance MenuBarDimmer::stripAppearance(double opacity)
{
    OverlayAppearance a;
    a.fill = QColor(0, 0, 0, int(std::lround(std::clamp(opacity, 0.0, 1.0) * 255)));
    return a;
}

void MenuBarDimmer::apply()
{
    const Settings& s = m_settings.settings();
    if (s.dimMenuBarEnabled)
        update(s.dimMenuBarOpacity);
    else
        removeAll();
}

void MenuBarDimmer::update(double opacity)
{
    const QList<QRectF> desired = desiredFrames();
    if (!m_windows.empty() && currentFrames() == desired) {
        for (auto& w : m_windows) {
            w->setAppearance(stripAppearance(opacity));
            if (!w->isVisible())
                w->orderFrontRegardless();
        }
        return;
    }
    removeAll();
    for (const QRectF& frame : desired) {
        std::unique_ptr<OverlayPanel> strip = m_platform.overlays->createPanel(frame, WindowLevel::statusAboveStrips);
        if (!strip)
            continue;
        strip->setHasShadow(false);
        strip->setAppearance(stripAppearance(opacity));
        strip->orderFrontRegardless();
        m_windows.push_back(std::move(strip));
    }
}

void MenuBarDimmer::removeAll()
{
    for (auto& w : m_windows)
        w->orderOut();
    m_windows.clear();
}

void MenuBarDimmer::reassert()
{
    if (!m_settings.settings().dimMenuBarEnabled)
        return;
    if (desiredFrames() != currentFrames()) {
        apply();
        return;
    }
    for (auto& w : m_windows)
        w->orderFrontRegardless();
}

}  // namespace tamsinvale
