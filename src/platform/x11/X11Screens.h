// Displays from RandR 1.5 monitors, primary first, with visible frames less the docks' struts.
#pragma once

#include <QList>
#include <QRect>
#include <QSet>
#include <optional>

#include "platform/Screens.h"

#include <xcb/xcb.h>

namespace tamsinvale {

class X11Connection;
class X11WindowReader;

// One monitor in X's terms, root coordinates.
struct X11Monitor {
    QString name;
    QRect rect;
    bool primary = false;
    QByteArray identity;  // EDID when an output has one, else the output or monitor name
    QString productName;  // from the EDID, when there is one
};

class X11Screens : public Screens {
    Q_OBJECT
public:
    X11Screens(X11Connection& connection, const X11WindowReader& reader, QObject* parent = nullptr);

    QList<ScreenInfo> screens() const override;
    std::optional<ScreenInfo> mainScreen() const override;
    QPointF windowSystemOrigin() const override { return origin(); }

    // Monitors in root coordinates, primary first (cached like screens()).
    QList<X11Monitor> monitors() const;
    // The primary monitor's top-left in root coordinates: the origin of window-server coordinates.
    QPoint origin() const;

    // Re-reads the layout now and announces it when it differs.
    void refresh();

private:
    void ensureFresh() const;
    void invalidate();
    QList<X11Monitor> readMonitors() const;
    QList<ScreenInfo> compute(const QList<X11Monitor>& monitors) const;
    // The manager's work area on the current desktop (_NET_WORKAREA); empty when it announces none.
    QRect readWorkArea() const;
    // Docks the manager keeps out of its client list, found among the root's children and theirs (where a
    // reparenting manager put them). Only looked for when it announces no work area either (i3 does neither),
    // as the work area already tells what such docks reserve. Each one found is watched, so that it going
    // changes the layout.
    QList<xcb_window_t> unlistedDocks(const QList<xcb_window_t>& listed) const;
    double readBackingScale() const;

    X11Connection& m_connection;
    const X11WindowReader& m_reader;
    mutable bool m_dirty = true;
    mutable QList<X11Monitor> m_monitors;
    mutable QList<ScreenInfo> m_screens;
    QList<ScreenInfo> m_announced;
    bool m_refreshQueued = false;
    mutable QSet<xcb_window_t> m_unlistedDocks;
};

}  // namespace tamsinvale
