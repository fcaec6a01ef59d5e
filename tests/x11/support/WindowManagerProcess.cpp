// Starts a window manager with a private home and waits for it to own the screen.
#include "WindowManagerProcess.h"

#include "XTestDisplay.h"

namespace tamsinvale::x11test {

std::unique_ptr<WindowManagerProcess> WindowManagerProcess::start(Kind kind, const QString& display, XTestDisplay& x,
                                                                  std::chrono::milliseconds timeout)
{
    auto wm = std::unique_ptr<WindowManagerProcess>(new WindowManagerProcess);
    if (!wm->m_home.isValid())
        return nullptr;
    const QString home = wm->m_home.path();
    QStringList argv;
    switch (kind) {
    case Kind::openbox:
        argv = {QStringLiteral("openbox"), QStringLiteral("--sm-disable")};
        break;
    }
    wm->m_process = ChildProcess::start(argv,
                                        {QStringLiteral("DISPLAY=") + display, QStringLiteral("HOME=") + home,
                                         QStringLiteral("XDG_CONFIG_HOME=") + home + QStringLiteral("/.config"),
                                         QStringLiteral("XDG_CACHE_HOME=") + home + QStringLiteral("/.cache")},
                                        false);
    if (!wm->m_process)
        return nullptr;
    // EWMH: the manager owns WM_S0 and points _NET_SUPPORTING_WM_CHECK at a window that points at itself.
    const bool ready = x.waitUntil(
        [&x] {
            if (x.selectionOwner("WM_S0") == XCB_WINDOW_NONE)
                return false;
            const auto check = x.cardinals(x.root(), "_NET_SUPPORTING_WM_CHECK");
            if (check.isEmpty() || check.first() == XCB_WINDOW_NONE)
                return false;
            const auto self = x.cardinals(check.first(), "_NET_SUPPORTING_WM_CHECK");
            return !self.isEmpty() && self.first() == check.first();
        },
        timeout);
    if (!ready || !wm->m_process->running())
        return nullptr;
    return wm;
}

}  // namespace tamsinvale::x11test
