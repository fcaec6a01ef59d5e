// The placement decision: stacked until the window manager shows that stacking cannot dim everything else.
#include "OverlayPlacement.h"

namespace tamsinvale {

bool OverlayPlacement::restackOverridden()
{
    return switchTo(Mode::cutOut,
                    QStringLiteral("the window manager moves override-redirect windows above the others, so overlays "
                                   "stay on top with the active window cut out"));
}

bool OverlayPlacement::focusedWindowNotRaised(double now)
{
    if (m_mode == Mode::cutOut)
        return false;
    if (!m_notRaisedSince) {
        m_notRaisedSince = now;
        return false;
    }
    if (now - *m_notRaisedSince < settle - 1e-9)  // clock readings in seconds: no rounding may hold it back
        return false;
    return switchTo(Mode::cutOut,
                    QStringLiteral("the window manager does not raise the focused window, so overlays stay above the "
                                   "windows with the active window cut out"));
}

bool OverlayPlacement::switchTo(Mode mode, QString reason)
{
    if (m_mode == mode)
        return false;
    m_mode = mode;
    m_reason = std::move(reason);
    return true;
}

}  // namespace tamsinvale
