// External programs, with argument lists only: run to completion through QProcess, started for the user with
// posix_spawn in a session of their own.
#pragma once

#include <QObject>

#include "platform/ExternalProcesses.h"

namespace tamsinvale {

class LinuxProcesses : public QObject, public ExternalProcesses {
    Q_OBJECT
public:
    using QObject::QObject;

    ProcessOutput run(const QString& program, const QStringList& arguments, double timeoutSeconds) override;
    ProcessStart start(const QString& program, const QStringList& arguments, const QString& workingDirectory,
                       const std::optional<Environment>& environment,
                       std::function<void(int exitCode)> finished) override;
    bool isExecutableFile(const QString& path) const override;
    Environment processEnvironment() const override;
};

}  // namespace tamsinvale
