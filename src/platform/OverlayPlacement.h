// How overlay panels are placed against the active window, chosen from what the window manager is seen to do.
#pragma once

#include <QString>
#include <optional>

namespace tamsinvale {

// Two ways to dim everything but one window:
// - stacked: the overlay stands directly below the window's frame, so the window and whatever is above it stay
//   bright. Needs a manager that leaves our restacking alone and raises the window it focuses.
// - cutOut: the overlay stands above the windows and the active window's frame (and what must stay bright above
//   it, such as docks) is cut out of its shape. Works whatever the manager does with stacking, but follows the
//   window's moves one event late, so it is used only where stacking does not work.
class OverlayPlacement {
public:
    enum class Mode { stacked, cutOut };

    Mode mode() const { return m_mode; }
    // Why the current mode is in use, for the log.
    QString reason() const { return m_reason; }

    // The manager moved an overlay away from where we stacked it (above the window it was placed below).
    // Returns true when this changed the mode.
    bool restackOverridden();
    // At a placement below the focused window, other normal windows stood above that window where the overlay is.
    // A manager that raises what it focuses does so at once; seen again at least `settle` seconds later, the
    // manager does not raise. Returns true when this changed the mode.
    bool focusedWindowNotRaised(double now);
    // A placement found the focused window on top: the earlier sighting was a raise still on its way.
    void focusedWindowRaised() { m_notRaisedSince.reset(); }

    static constexpr double settle = 0.2;

private:
    bool switchTo(Mode mode, QString reason);

    Mode m_mode = Mode::stacked;
    QString m_reason = QStringLiteral("each overlay is stacked directly below the active window's frame");
    std::optional<double> m_notRaisedSince;
};

}  // namespace tamsinvale
