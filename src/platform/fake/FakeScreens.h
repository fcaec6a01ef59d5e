// Simulated displays.
#pragma once

#include "platform/Screens.h"

namespace tamsinvale {

class FakeScreens : public Screens {
    Q_OBJECT
public:
    using Screens::Screens;

    QList<ScreenInfo> screens() const override { return m_screens; }
    std::optional<ScreenInfo> mainScreen() const override;

    // Replaces the displays and reports the change.
    void setScreens(const QList<ScreenInfo>& screens);
    void setMainScreenIndex(int index) { m_mainIndex = index; }
    QPointF windowSystemOrigin() const override { return m_origin; }
    // Where the primary display stands among top-level coordinates (an X root with a monitor left of it).
    void setWindowSystemOrigin(QPointF origin) { m_origin = origin; }

    // A display with the given frame (screen coordinates), a 25-point menu bar and a stable name and UUID.
    static ScreenInfo makeScreen(DisplayId id, const QRectF& frame, double menuBarHeight = 25);

private:
    QList<ScreenInfo> m_screens;
    int m_mainIndex = 0;
    QPointF m_origin;
};

}  // namespace tamsinvale
