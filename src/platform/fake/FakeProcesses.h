// Scripted external processes: canned output for commands, and started processes that finish on demand.
#pragma once

#include <QList>
#include <QMap>
#include <QSet>

#include "platform/ExternalProcesses.h"

namespace tamsinvale {

class FakeProcesses : public ExternalProcesses {
public:
    struct Started {
        std::int32_t pid;
        QString program;
        QStringList arguments;
        QString workingDirectory;
        std::optional<Environment> environment;
    };

    // What `run(program, arguments…)` answers; unscripted commands fail to launch.
    void scriptRun(const QString& program, const QStringList& arguments, ProcessOutput output);
    void setExecutable(const QString& path, bool executable = true);
    void setEnvironment(const Environment& environment) { m_environment = environment; }
    void failStarts(const QString& error) { m_startError = error; }
    // Ends a started process; its completion runs now.
    void finish(std::int32_t pid, int exitCode = 0);

    QList<Started> started() const { return m_started; }
    QList<QStringList> runs() const { return m_runs; }

    ProcessOutput run(const QString& program, const QStringList& arguments, double timeoutSeconds) override;
    ProcessStart start(const QString& program, const QStringList& arguments, const QString& workingDirectory,
                       const std::optional<Environment>& environment,
                       std::function<void(int exitCode)> finished) override;
    bool isExecutableFile(const QString& path) const override { return m_executables.contains(path); }
    Environment processEnvironment() const override { return m_environment; }

private:
    QMap<QStringList, ProcessOutput> m_scripted;
    QSet<QString> m_executables;
    Environment m_environment;
    QString m_startError;
    QList<Started> m_started;
    QMap<std::int32_t, std::function<void(int)>> m_running;
    QList<QStringList> m_runs;
    std::int32_t m_nextPid = 5000;
};

}  // namespace tamsinvale
