// Tells whether a full-screen window is in front, so that the overlays get out of its way.
#pragma once

#include <QList>
#include <QRectF>
#include <QSizeF>

#include "platform/Platform.h"

namespace tamsinvale {

class FullScreenDetector {
public:
    explicit FullScreenDetector(const Platform& platform);

    // The frontmost application (never this one) shows a full-screen window.
    bool isFrontAppFullScreen(const WindowSnapshot& windows) const
    {
        return isFrontAppFullScreen(windows, m_platform.workspace->frontmostApplication());
    }
    bool isFrontAppFullScreen(const WindowSnapshot& windows, const std::optional<RunningApp>& front) const;
    // Any application's on-screen normal window fills a screen, or the front app's focused window says full screen.
    bool isAnyFullScreenPresent(const WindowSnapshot& windows) const
    {
        return isAnyFullScreenPresent(windows, m_platform.workspace->frontmostApplication());
    }
    bool isAnyFullScreenPresent(const WindowSnapshot& windows, const std::optional<RunningApp>& front) const;

    // Accessibility's full-screen flag is believed only for a window about the size of a screen (±50 points):
    // picture-in-picture players set it too.
    static bool isScreenSized(const QSizeF& size, const QList<QRectF>& screens);
    // A window-server rectangle (already in screen coordinates) that sits on a screen's origin (±3) and either
    // matches its size (±3) or covers at least 98 % of it.
    static bool fillsScreen(const QRectF& rect, const QList<QRectF>& screens);

private:
    enum class AXVerdict { notFullScreen, fullScreen, notScreenSized };
    // The accessibility test on the front app's focused window; nothing without trust or a readable window.
    AXVerdict focusedWindowVerdict(std::int32_t pid, const QList<QRectF>& screens) const;
    QList<QRectF> screenFrames() const;
    double primaryHeight() const;
    static QRectF flip(const QRectF& bounds, double primaryHeight);
    bool isSelf(const RunningApp& app) const;

    Platform m_platform;
};

}  // namespace tamsinvale
