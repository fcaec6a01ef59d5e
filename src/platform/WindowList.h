// The window server's list of windows, front to back, in the logic's own words.
#pragma once

#include <QList>
#include <QRectF>
#include <QString>
#include <cstdint>
#include <optional>

namespace tamsinvale {

using WindowNumber = std::uint32_t;

// Well-known window levels (macOS numbering; the X11 port maps its window kinds onto them).
namespace WindowLevel {
constexpr int normal = 0;
constexpr int floating = 3;        // always-on-top and utility windows
constexpr int mainMenu = 24;       // the menu bar, or a panel along a monitor's top edge
constexpr int status = 25;
constexpr int statusAboveStrips = 26;
}  // namespace WindowLevel

struct WindowSnapshotEntry {
    std::int32_t ownerPid = 0;
    std::optional<int> layer;           // missing when the server did not say
    std::optional<bool> onScreen;       // missing counts as on screen
    std::optional<WindowNumber> number;
    QRectF bounds;                      // window-server coordinates: origin top-left of the primary display, y down
    QString name;                       // window title, empty when unknown or not readable
    QString ownerName;
    bool isMenuBar = false;             // the system menu bar (macOS) or a top-edge panel (X11)

    bool operator==(const WindowSnapshotEntry&) const = default;
};

using WindowSnapshot = QList<WindowSnapshotEntry>;

class WindowList {
public:
    virtual ~WindowList() = default;
    // On-screen windows, desktop elements excluded, front to back. Nothing when the list cannot be read.
    virtual std::optional<WindowSnapshot> onScreenWindows() const = 0;

    // Brackets the reads of one reaction to an event (they nest). Inside, a backend may answer a question it was
    // already asked from the answer it got, taking the desktop as standing still for that moment.
    virtual void beginReadBatch() const {}
    virtual void endReadBatch() const {}
};

}  // namespace tamsinvale
