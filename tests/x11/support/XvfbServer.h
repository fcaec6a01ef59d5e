// An Xvfb server with RandR on a display number it picks itself; ready once it has told us that number.
#pragma once

#include <QSize>
#include <QString>
#include <memory>

#include "ChildProcess.h"

namespace tamsinvale::x11test {

class XvfbServer {
public:
    // Nothing when Xvfb could not be started or did not announce its display in time.
    static std::unique_ptr<XvfbServer> start(QSize size = QSize(1920, 1080),
                                             std::chrono::milliseconds timeout = std::chrono::milliseconds(15000));

    QString display() const { return m_display; }  // ":N"
    QSize size() const { return m_size; }
    pid_t pid() const { return m_process->pid(); }

private:
    std::unique_ptr<ChildProcess> m_process;
    QString m_display;
    QSize m_size;
};

}  // namespace tamsinvale::x11test
