// The real tamsinvale binary under test on the test display: a private session bus and configuration, the
// session's applications, its log kept as an artifact and read by the test, ended with `tamsinvale ctl quit`.
#pragma once

#include <QList>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <chrono>
#include <memory>

#include "ChildProcess.h"
#include "ProgramRun.h"

#include <xcb/xcb.h>

namespace tamsinvale::x11test {

class XTestSession;

class TamsinvaleInstance {
public:
    // `logPath`: where its standard output and error go (kept for looking at after a failure).
    TamsinvaleInstance(XTestSession& session, const QString& logPath);
    ~TamsinvaleInstance();
    TamsinvaleInstance(const TamsinvaleInstance&) = delete;
    TamsinvaleInstance& operator=(const TamsinvaleInstance&) = delete;

    // Before start: an environment variable of its own ("NAME", "value"), replacing what it would inherit.
    void setEnvironment(const QString& name, const QString& value);
    // Before start: `tamsinvale settings set NAME VALUE` and `tamsinvale shortcuts ARGS…` on its configuration.
    ToolRun setting(const QString& name, const QString& value);
    ToolRun shortcuts(const QStringList& arguments);
    // Starts it and waits for its start line; false when it did not come.
    bool start(std::chrono::milliseconds timeout = std::chrono::milliseconds(20000));
    ToolRun ctl(const QString& action);
    // `tamsinvale ctl quit`, then waits for the process to end.
    bool quit(std::chrono::milliseconds timeout = std::chrono::milliseconds(10000));

    QString log() const;
    // Waits (handling X and Qt events) until the log holds `text`.
    bool waitForLog(const QString& text, std::chrono::milliseconds timeout = std::chrono::milliseconds(10000));
    pid_t pid() const { return m_process ? m_process->pid() : -1; }
    bool running() { return m_process && m_process->running(); }

    // Its viewable top-level windows (children of the root, as the server has them), bottom to top.
    struct Window {
        xcb_window_t id = XCB_WINDOW_NONE;
        QRect geometry;      // root coordinates
        int depth = 0;       // 32: see-through (ARGB)
        int stackIndex = 0;  // among all children of the root, bottom to top
    };
    QList<Window> windows() const;
    const QStringList& environment() const { return m_environment; }

private:
    XTestSession& m_session;
    QTemporaryDir m_config;
    SessionBus m_bus;
    QStringList m_environment;
    QString m_logPath;
    std::unique_ptr<ChildProcess> m_process;
};

}  // namespace tamsinvale::x11test
