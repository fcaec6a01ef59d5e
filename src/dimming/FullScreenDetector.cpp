// Full-screen detection: accessibility's flag on the focused window, then the window server's geometry.
#include "FullScreenDetector.h"

#include <QtMath>
#include <algorithm>

#include "platform/Logging.h"

namespace tamsinvale {

FullScreenDetector::FullScreenDetector(const Platform& platform) : m_platform(platform) {}

QList<QRectF> FullScreenDetector::screenFrames() const
{
    QList<QRectF> out;
    for (const ScreenInfo& s : m_platform.screens->screens())
        if (s.displayId != 0)
            out.append(s.frame);
    return out;
}

double FullScreenDetector::primaryHeight() const
{
    const QList<ScreenInfo> screens = m_platform.screens->screens();
    return screens.isEmpty() ? 0.0 : screens.first().frame.height();
}

QRectF FullScreenDetector::flip(const QRectF& b, double primaryHeight)
{
    return QRectF(b.x(), primaryHeight - b.y() - b.height(), b.width(), b.height());
}

bool FullScreenDetector::isSelf(const RunningApp& app) const
{
    return app.pid == m_platform.workspace->ownPid()
        || (app.bundleIdentifier && app.bundleIdentifier == m_platform.workspace->ownBundleIdentifier());
}

bool FullScreenDetector::isScreenSized(const QSizeF& size, const QList<QRectF>& screens)
{
    return std::any_of(screens.cbegin(), screens.cend(), [&](const QRectF& s) {
        return qAbs(size.width() - s.width()) <= 50 && qAbs(size.height() - s.height()) <= 50;
    });
}

bool FullScreenDetector::fillsScreen(const QRectF& r, const QList<QRectF>& screens)
{
    for (const QRectF& s : screens) {
        const bool atOrigin = qAbs(r.x() - s.x()) <= 3 && qAbs(r.y() - s.y()) <= 3;
        if (!atOrigin)
            continue;
        if (qAbs(r.width() - s.width()) <= 3 && qAbs(r.height() - s.height()) <= 3)
            return true;
        const double windowArea = std::max(1.0, r.width() * r.height());
        const double screenArea = s.width() * s.height();
        if (screenArea > 0 && windowArea / screenArea >= 0.98)
            return true;
    }
    return false;
}

FullScreenDetector::AXVerdict FullScreenDetector::focusedWindowVerdict(std::int32_t pid,
                                                                       const QList<QRectF>& screens) const
{
    Accessibility* ax = m_platform.accessibility;
    if (!ax || !ax->isProcessTrusted())
        return AXVerdict::notFullScreen;
    const auto window = ax->elementAttribute(ax->applicationElement(pid), AXAttr::focusedWindow);
    if (!window || ax->boolAttribute(*window, AXAttr::fullScreen) != true)
        return AXVerdict::notFullScreen;
    const auto size = ax->size(*window);
    return size && isScreenSized(*size, screens) ? AXVerdict::fullScreen : AXVerdict::notScreenSized;
}

bool FullScreenDetector::isFrontAppFullScreen(const WindowSnapshot& windows, const std::optional<RunningApp>& front) const
{
    if (!front || isSelf(*front))
        return false;
    const QList<QRectF> screens = screenFrames();
    switch (focusedWindowVerdict(front->pid, screens)) {
    case AXVerdict::fullScreen:
        qCDebug(lcDimming).noquote().nospace() << "isFrontAppFullScreen: AX reports fullscreen=true for pid=" << front->pid;
        return true;
    case AXVerdict::notScreenSized:
        qCDebug(lcDimming).noquote()
            << "isFrontAppFullScreen: AX reports fullscreen but window is not screen-sized (PiP/floating?) - ignoring";
        break;
    case AXVerdict::notFullScreen: break;
    }
    const double h = primaryHeight();
    for (const WindowSnapshotEntry& e : windows) {
        if (e.ownerPid != front->pid || !e.onScreen.value_or(true) || e.layer.value_or(0) != WindowLevel::normal)
            continue;
        if (fillsScreen(flip(e.bounds, h), screens)) {
            qCDebug(lcDimming).noquote().nospace()
                << "isFrontAppFullScreen: CG heuristic reports fullscreen for pid=" << front->pid;
            return true;
        }
    }
    return false;
}

bool FullScreenDetector::isAnyFullScreenPresent(const WindowSnapshot& windows, const std::optional<RunningApp>& front) const
{
    const QList<QRectF> screens = screenFrames();
    if (front && !isSelf(*front)) {
        switch (focusedWindowVerdict(front->pid, screens)) {
        case AXVerdict::fullScreen:
            qCDebug(lcDimming).noquote() << "isAnyFullScreenPresent: AX reports focused window is fullscreen";
            return true;
        case AXVerdict::notScreenSized:
            qCDebug(lcDimming).noquote()
                << "isAnyFullScreenPresent: AX reports fullscreen but window is not screen-sized (PiP/floating?) - ignoring";
            break;
        case AXVerdict::notFullScreen: break;
        }
    }
    const std::int32_t own = m_platform.workspace->ownPid();
    const double h = primaryHeight();
    for (const WindowSnapshotEntry& e : windows) {
        if (e.ownerPid == own || !e.onScreen.value_or(true) || e.layer.value_or(0) != WindowLevel::normal)
            continue;
        if (fillsScreen(flip(e.bounds, h), screens)) {
            qCDebug(lcDimming).noquote() << "isAnyFullScreenPresent: CG heuristic found fullscreen window";
            return true;
        }
    }
    return false;
}

}  // namespace tamsinvale
