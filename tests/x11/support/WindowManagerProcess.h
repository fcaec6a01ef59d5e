// A real window manager on the test display; ready once it has taken the WM_S0 selection, published EWMH support,
// manages a probe window and holds the key bindings of its default configuration.
#pragma once

#include <QString>
#include <QTemporaryDir>
#include <memory>
#include <optional>

#include "ChildProcess.h"

namespace tamsinvale::x11test {

class XTestDisplay;

class WindowManagerProcess {
public:
    enum class Kind { openbox, xfwm4, i3, marco, metacity, icewm };

    // The manager named by TAMSINVALE_TEST_WM (Openbox when unset); nothing for a name we do not know.
    static std::optional<Kind> fromEnvironment();
    static std::optional<Kind> kindNamed(const QString& name);
    static QString name(Kind kind);

    // Nothing when it could not be started or did not become ready in time.
    static std::unique_ptr<WindowManagerProcess> start(Kind kind, const QString& display, XTestDisplay& x,
                                                       std::chrono::milliseconds timeout = std::chrono::milliseconds(15000));
    pid_t pid() const { return m_process->pid(); }
    Kind kind() const { return m_kind; }
    // SIGKILL, as a crash would end it; reaped.
    void kill();

private:
    QTemporaryDir m_home;  // the manager's own configuration stays out of the user's
    std::unique_ptr<ChildProcess> m_process;
    Kind m_kind = Kind::openbox;
};

}  // namespace tamsinvale::x11test
