// One window-info dictionary of the macOS window server, as a plain map, turned into a window snapshot entry.
// The Objective-C++ window list fills the map under these keys (numbers as integers or reals, the on-screen flag as
// a boolean, the bounds as a rectangle already made from their dictionary, names as text); everything after that
// is decided here, so that it is tested on every platform.
#pragma once

#include <QList>
#include <QString>
#include <QVariantMap>

#include "platform/WindowList.h"

namespace tamsinvale {

namespace MacWindowInfoKey {
inline const QString number = QStringLiteral("number");          // kCGWindowNumber
inline const QString ownerPid = QStringLiteral("ownerPid");      // kCGWindowOwnerPID
inline const QString layer = QStringLiteral("layer");            // kCGWindowLayer
inline const QString onScreen = QStringLiteral("onScreen");      // kCGWindowIsOnscreen
inline const QString bounds = QStringLiteral("bounds");          // kCGWindowBounds, as a QRectF
inline const QString name = QStringLiteral("name");              // kCGWindowName
inline const QString ownerName = QStringLiteral("ownerName");    // kCGWindowOwnerName
}  // namespace MacWindowInfoKey

// The well-known levels as the running system numbers them (CGWindowLevelForKey); the defaults are the values
// the system has always had.
struct MacWindowLevels {
    int normal = 0;
    int floating = 3;
    int mainMenu = 24;
    int status = 25;
};

// The owner the window server names for the windows it draws itself, the menu bar among them.
inline const QString macWindowServerOwner = QStringLiteral("Window Server");

// A window's level in the numbering of WindowLevel: the system's well-known levels become ours, any other level
// is kept as the system gave it.
int portableWindowLevel(int systemLevel, const MacWindowLevels& levels);

// A value of the wrong type counts as missing: no number, no layer, on screen unknown, null bounds, empty names,
// owner pid 0 (no application owns a window under pid 0).
WindowSnapshotEntry windowSnapshotEntry(const QVariantMap& info, const MacWindowLevels& levels);
WindowSnapshot windowSnapshot(const QList<QVariantMap>& infos, const MacWindowLevels& levels);

}  // namespace tamsinvale
