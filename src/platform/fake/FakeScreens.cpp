// Simulated displays with a settable main screen.
#include "FakeScreens.h"

namespace tamsinvale {

std::optional<ScreenInfo> FakeScreens::mainScreen() const
{
    if (m_screens.isEmpty())
        return std::nullopt;
    if (m_mainIndex >= 0 && m_mainIndex < m_screens.size())
        return m_screens[m_mainIndex];
    return m_screens.first();
}

void FakeScreens::setScreens(const QList<ScreenInfo>& screens)
{
    m_screens = screens;
    emit screensChanged();
}

ScreenInfo FakeScreens::makeScreen(DisplayId id, const QRectF& frame, double menuBarHeight)
{
    ScreenInfo s;
    s.displayId = id;
    s.frame = frame;
    s.visibleFrame = QRectF(frame.x(), frame.y(), frame.width(), frame.height() - menuBarHeight);
    s.backingScale = 2.0;
    s.localizedName = QStringLiteral("Display %1").arg(id);
    s.uuid = QStringLiteral("00000000-0000-4000-8000-%1").arg(id, 12, 10, QLatin1Char('0'));
    return s;
}

}  // namespace tamsinvale
