// Focused-window questions answered through accessibility, matched against the window server's list.
#include "FocusedWindowInspector.h"

#include <QtMath>

namespace tamsinvale {

int FocusedWindowInspector::focusedWindowLayer(std::int32_t pid, const WindowSnapshot& windows) const
{
    Accessibility* ax = m_platform.accessibility;
    if (!ax || !ax->isProcessTrusted())
        return 0;
    const auto window = ax->elementAttribute(ax->applicationElement(pid), AXAttr::focusedWindow);
    if (!window)
        return 0;
    const auto position = ax->position(*window);
    const auto size = ax->size(*window);
    if (!position || !size)
        return 0;
    auto near = [](double a, double b) { return qAbs(a - b) < 10; };
    const WindowSnapshotEntry* match = nullptr;
    for (const WindowSnapshotEntry& e : windows)
        if (e.ownerPid == pid && near(e.bounds.x(), position->x()) && near(e.bounds.y(), position->y())
            && near(e.bounds.width(), size->width()) && near(e.bounds.height(), size->height())) {
            match = &e;
            break;
        }
    if (!match)
        for (const WindowSnapshotEntry& e : windows)
            if (e.ownerPid == pid && near(e.bounds.width(), size->width()) && near(e.bounds.height(), size->height())) {
                match = &e;
                break;
            }
    return match ? match->layer.value_or(0) : 0;
}

bool FocusedWindowInspector::isFocusedWindowDialogOrSheet(std::int32_t pid) const
{
    Accessibility* ax = m_platform.accessibility;
    if (!ax || !ax->isProcessTrusted())
        return false;
    const auto window = ax->elementAttribute(ax->applicationElement(pid), AXAttr::focusedWindow);
    if (!window)
        return false;
    const QString role = ax->stringAttribute(*window, AXAttr::role).value_or(QString());
    const QString subrole = ax->stringAttribute(*window, AXAttr::subrole).value_or(QString());
    if (role != QLatin1String("AXSheet") && subrole != QLatin1String("AXDialog")
        && subrole != QLatin1String("AXSystemDialog"))
        return false;
    const auto position = ax->position(*window);
    const auto size = ax->size(*window);
    if (!position || !size)
        return true;  // a dialog we cannot measure is assumed small
    const QList<ScreenInfo> screens = m_platform.screens->screens();
    const double h = screens.isEmpty() ? 0.0 : screens.first().frame.height();
    const QPointF centre(position->x() + size->width() / 2, h - (position->y() + size->height() / 2));
    std::optional<QRectF> reference;
    for (const ScreenInfo& s : screens)
        if (s.frame.contains(centre)) {
            reference = s.frame;
            break;
        }
    if (!reference)
        if (const auto main = m_platform.screens->mainScreen())
            reference = main->frame;
    if (!reference || reference->width() <= 0 || reference->height() <= 0)
        return true;
    const double ratio = (size->width() * size->height()) / (reference->width() * reference->height());
    return ratio < 0.5;
}

}  // namespace tamsinvale
