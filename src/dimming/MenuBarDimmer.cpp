// Menu bar strips: rebuilt only when the menu bar geometry changes, recoloured in place otherwise, never over a
// full-screen window and never drawn without translucency.
#include "MenuBarDimmer.h"

#include <QPointer>
#include <algorithm>
#include <cmath>

#include "DimmingLog.h"
#include "FullScreenDetector.h"
#include "MenuBarGeometry.h"
#include "platform/ScreenCoordinates.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

MenuBarDimmer::MenuBarDimmer(const Platform& platform, SettingsStore& settings, QObject* parent)
    : QObject(parent), m_platform(platform), m_settings(settings)
{
    connect(m_platform.screens, &Screens::screensChanged, this, &MenuBarDimmer::apply);
    connect(m_platform.workspace, &Workspace::applicationActivated, this, &MenuBarDimmer::reassert);
    if (m_platform.overlays)
        m_translucencyWatch = m_platform.overlays->observeTranslucency([this] { translucencyChanged(); });
}

MenuBarDimmer::~MenuBarDimmer() { removeAll(); }

QList<MenuBarDimmer::Strip> MenuBarDimmer::desiredStrips() const
{
    const QList<ScreenInfo> screens = m_platform.screens->screens();
    QList<Strip> strips;
    for (const ScreenInfo& s : screens) {
        // A fresh read per screen, as the overlays do: a panel that just appeared counts at once.
        const double h = MenuBarGeometry::menuBarHeight(s, screens, m_platform.windowList->onScreenWindows());
        if (h > 0)
            strips.append({QRectF(s.frame.x(), s.frame.y() + s.frame.height() - h, s.frame.width(), h), s.frame});
    }
    return strips;
}

QList<QRectF> MenuBarDimmer::desiredFrames() const
{
    QList<QRectF> frames;
    for (const Strip& strip : desiredStrips())
        frames.append(strip.frame);
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
    if (m_platform.overlays && !m_platform.overlays->translucencyAvailable()) {
        // A strip drawn opaque would black the menu bar out at any opacity, 0 included.
        removeAll();
        if (!m_loggedNoTranslucency) {
            qCInfo(lcDimming, "menu bar dimming: no compositor is running, so the strips are left out until one "
                              "starts (they would be drawn opaque)");
            m_loggedNoTranslucency = true;
        }
        return;
    }
    const QList<Strip> desired = desiredStrips();
    QList<QRectF> frames;
    m_stripScreens.clear();
    for (const Strip& strip : desired) {
        frames.append(strip.frame);
        m_stripScreens.append(strip.screen);
    }
    if (!m_windows.empty() && currentFrames() == frames) {
        for (auto& w : m_windows)
            w->setAppearance(stripAppearance(opacity));
        placeStrips(false);
        return;
    }
    for (auto& w : m_windows)
        w->orderOut();
    m_windows.clear();
    for (const QRectF& frame : frames) {
        std::unique_ptr<OverlayPanel> strip = m_platform.overlays->createPanel(frame, WindowLevel::statusAboveStrips);
        if (!strip)
            continue;
        strip->setHasShadow(false);
        strip->setAppearance(stripAppearance(opacity));
        m_windows.push_back(std::move(strip));
    }
    placeStrips(true);
}

void MenuBarDimmer::removeAll()
{
    cancelTask(m_fullScreenCheck);
    for (auto& w : m_windows)
        w->orderOut();
    m_windows.clear();
    m_stripScreens.clear();
}

void MenuBarDimmer::reassert()
{
    if (!m_settings.settings().dimMenuBarEnabled)
        return;
    if (m_platform.overlays && !m_platform.overlays->translucencyAvailable())
        return;
    if (desiredFrames() != currentFrames()) {
        apply();
        return;
    }
    placeStrips(true);
}

void MenuBarDimmer::checkFullScreen()
{
    if (!m_windows.empty())
        placeStrips(false);
}

bool MenuBarDimmer::fullScreenInFront(const QRectF& screen, const WindowSnapshot& windows) const
{
    const ScreenCoordinates coordinates = ScreenCoordinates::of(*m_platform.screens);
    const std::int32_t own = m_platform.workspace->ownPid();
    // The frontmost ordinary window on this screen decides: a full-screen one further back is covered anyway.
    for (const WindowSnapshotEntry& e : windows) {
        if (e.ownerPid == own || !e.onScreen.value_or(true) || e.layer.value_or(0) != WindowLevel::normal)
            continue;
        const QRectF bounds = coordinates.toScreen(e.bounds);
        if (!bounds.intersects(screen))
            continue;
        return FullScreenDetector::fillsScreen(bounds, {screen});
    }
    return false;
}

void MenuBarDimmer::placeStrips(bool raise)
{
    cancelTask(m_fullScreenCheck);
    const std::optional<WindowSnapshot> windows = m_platform.windowList->onScreenWindows();
    bool heldBack = false;
    for (std::size_t i = 0; i < m_windows.size(); ++i) {
        OverlayPanel& strip = *m_windows[i];
        const bool covered = windows && i < std::size_t(m_stripScreens.size())
            && fullScreenInFront(m_stripScreens[qsizetype(i)], *windows);
        if (covered) {
            if (strip.isVisible()) {
                DIMLOG << "menu bar strip held back: a full-screen window is in front on its screen";
                strip.orderOut();
            }
            heldBack = true;
        } else if (raise || !strip.isVisible()) {
            strip.orderFrontRegardless();
        }
    }
    if (!heldBack || !m_platform.scheduler)
        return;
    // Nothing announces the end of full screen; look again until it has ended.
    QPointer<MenuBarDimmer> self(this);
    m_fullScreenCheck = m_platform.scheduler->postAfter(fullScreenCheckSeconds, [self] {
        if (self)
            self->placeStrips(false);
    });
}

void MenuBarDimmer::translucencyChanged()
{
    // Strips keep the visual they were made with: make them anew (or leave them out).
    removeAll();
    if (m_platform.overlays && m_platform.overlays->translucencyAvailable())
        m_loggedNoTranslucency = false;
    apply();
}

}  // namespace tamsinvale
