// A program the tests start: its stdin and stdout as pipes, ended (and reaped) when the object goes.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <chrono>
#include <memory>
#include <optional>
#include <sys/types.h>

namespace tamsinvale::x11test {

class ChildProcess {
public:
    // `environment` entries ("NAME=value") are added to (or replace) the test's own environment.
    static std::unique_ptr<ChildProcess> start(const QStringList& argv, const QStringList& environment = {},
                                               bool keepStderr = true);
    ~ChildProcess();

    pid_t pid() const { return m_pid; }
    // The next line of output (without its newline), or nothing when the deadline passes or the output ends.
    std::optional<QString> readLine(std::chrono::milliseconds timeout);
    // Reads lines until one starts with `prefix`; the others are dropped.
    std::optional<QString> readLineStartingWith(const QString& prefix, std::chrono::milliseconds timeout);
    bool writeLine(const QString& line);
    // True once it has exited (reaped); `status` is the wait status.
    bool waitForExit(std::chrono::milliseconds timeout, int* status = nullptr);
    bool running();
    // SIGTERM, then SIGKILL if it has not gone within the grace period; always reaps.
    void stop(std::chrono::milliseconds grace = std::chrono::milliseconds(3000));

private:
    ChildProcess() = default;
    pid_t m_pid = -1;
    int m_pidfd = -1;
    int m_stdin = -1;
    int m_stdout = -1;
    bool m_reaped = false;
    QByteArray m_buffer;
};

// Runs a tool to completion and returns its standard output; nothing if it failed or overran the deadline.
std::optional<QString> runTool(const QStringList& argv, std::chrono::milliseconds timeout = std::chrono::milliseconds(10000),
                               int* exitCode = nullptr);

}  // namespace tamsinvale::x11test
