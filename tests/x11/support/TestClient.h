// Our test-client program as seen from a test: its pid and the ids of the windows it opened, plus its commands.
#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <memory>

#include "ChildProcess.h"

#include <xcb/xcb.h>

namespace tamsinvale::x11test {

// One window to open, written as the client's --window argument ("title=…;class=…;size=WxH;pos=X,Y;type=…;…").
struct WindowSpec {
    QString title = QStringLiteral("window");
    QString instance = QStringLiteral("tamsinvale-testclient");
    QString windowClass = QStringLiteral("TestClient");
    int x = 100, y = 100, width = 400, height = 300;
    QString type = QStringLiteral("normal");  // normal, dialog, utility, dock
    QStringList states;                       // above, fullscreen, hidden, maximized
    int transientFor = -1;                    // index of an earlier window of the same client
    int strutTop = 0;                         // for docks: reserved height along the root's top edge
    int strutTopStartX = 0, strutTopEndX = 0;
    bool setPid = true;                       // false: no _NET_WM_PID, as Xt programs do
    bool ignoresDelete = false;               // stays open when asked to close (WM_DELETE_WINDOW)
    bool supportsDelete = true;               // false: no WM_DELETE_WINDOW protocol at all
    int desktop = -1;                         // the virtual desktop it starts on; -1: the manager's choice

    QString argument() const;
};

class TestClient {
public:
    // Starts the client and waits until every window is managed (or mapped, without a manager).
    static std::unique_ptr<TestClient> start(const QString& display, const QList<WindowSpec>& windows,
                                             std::chrono::milliseconds timeout = std::chrono::milliseconds(10000));

    pid_t pid() const { return m_process->pid(); }
    const QList<xcb_window_t>& windows() const { return m_windows; }
    xcb_window_t window(int index) const { return m_windows.value(index); }

    // Commands on stdin; each answers with one line once done.
    bool closeWindow(int index);
    std::optional<xcb_window_t> openWindow(const WindowSpec& windowSpec);
    // Creates and destroys windows as fast as it can, `count` times, then answers.
    bool churn(int count);
    bool waitForChurn(std::chrono::milliseconds timeout);
    bool quit();
    ChildProcess& process() { return *m_process; }

private:
    std::unique_ptr<ChildProcess> m_process;
    QList<xcb_window_t> m_windows;
};

}  // namespace tamsinvale::x11test
