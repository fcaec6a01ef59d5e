// What one round of requests tells us about a client window, in X's own terms (root coordinates).
#pragma once

#include <QRect>
#include <QString>
#include <cstdint>

#include <xcb/xcb.h>

namespace tamsinvale {

enum class X11WindowType { normal, dialog, utility, toolbar, menu, splash, dock, desktop, notification, popup };

struct X11Window {
    xcb_window_t id = XCB_WINDOW_NONE;
    bool exists = false;            // false when the window vanished before it could be read
    std::int32_t pid = 0;           // 0 when neither _NET_WM_PID nor the X-Resource extension knew
    QString name;                   // _NET_WM_NAME, else WM_NAME
    QString wmInstance;             // WM_CLASS, first part
    QString wmClass;                // WM_CLASS, second part
    QString gtkApplicationId;
    X11WindowType type = X11WindowType::normal;
    bool transient = false;         // WM_TRANSIENT_FOR names another window
    bool above = false;
    bool below = false;
    bool fullScreen = false;
    bool hidden = false;
    bool maximized = false;
    bool sticky = false;
    bool skipTaskbar = false;
    bool overrideRedirect = false;
    bool viewable = false;          // mapped, with all its ancestors
    std::uint32_t desktop = 0xFFFFFFFFu;  // _NET_WM_DESKTOP; all desktops when absent
    QRect clientRect;               // root coordinates, inside the border
    QRect frameRect;                // clientRect grown by _NET_FRAME_EXTENTS
    std::uint32_t strutTop = 0;     // _NET_WM_STRUT_PARTIAL (or _NET_WM_STRUT)
    std::uint32_t strutTopStartX = 0, strutTopEndX = 0;
    std::uint32_t strutBottom = 0, strutBottomStartX = 0, strutBottomEndX = 0;
    std::uint32_t strutLeft = 0, strutLeftStartY = 0, strutLeftEndY = 0;
    std::uint32_t strutRight = 0, strutRightStartY = 0, strutRightEndY = 0;
    bool hasStrut = false;
};

}  // namespace tamsinvale
