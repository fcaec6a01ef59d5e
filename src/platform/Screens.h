// Displays as the logic sees them: frames in screen coordinates (origin bottom-left of the primary display, y up).
#pragma once

#include <QObject>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <QList>
#include <cstdint>
#include <optional>

namespace tamsinvale {

using DisplayId = std::uint32_t;

struct ScreenInfo {
    DisplayId displayId = 0;        // stable for the session; 0 is never a valid id
    QRectF frame;                   // whole display, screen coordinates
    QRectF visibleFrame;            // frame less menu bar / panels / dock, screen coordinates
    double backingScale = 1.0;      // device pixels per point
    QString localizedName;
    QString uuid;                   // stable across restarts; keys per-screen wallpapers
    double topSafeAreaInset = 0.0;  // notch area on laptops that have one

    bool operator==(const ScreenInfo&) const = default;
};

// The displays in the platform's order, primary first.
class Screens : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    virtual QList<ScreenInfo> screens() const = 0;
    // The screen holding the keyboard focus (NSScreen.mainScreen); primary when nothing has focus.
    virtual std::optional<ScreenInfo> mainScreen() const = 0;
    // Where the primary display's top-left (the origin of window-server coordinates) lies in the coordinates
    // top-level windows are placed in: zero on macOS, the primary monitor's root position on X11.
    virtual QPointF windowSystemOrigin() const { return {}; }

signals:
    void screensChanged();
};

}  // namespace tamsinvale
