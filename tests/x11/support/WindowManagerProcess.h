// A real window manager on the test display; ready once it has taken the WM_S0 selection and published EWMH support.
#pragma once

#include <QString>
#include <QTemporaryDir>
#include <memory>

#include "ChildProcess.h"

namespace tamsinvale::x11test {

class XTestDisplay;

class WindowManagerProcess {
public:
    enum class Kind { openbox };

    // Nothing when it could not be started or did not become ready in time.
    static std::unique_ptr<WindowManagerProcess> start(Kind kind, const QString& display, XTestDisplay& x,
                                                       std::chrono::milliseconds timeout = std::chrono::milliseconds(15000));
    pid_t pid() const { return m_process->pid(); }

private:
    QTemporaryDir m_home;  // the manager's own configuration stays out of the user's
    std::unique_ptr<ChildProcess> m_process;
};

}  // namespace tamsinvale::x11test
