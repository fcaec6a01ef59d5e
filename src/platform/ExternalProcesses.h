// Starting other programs, always with argument lists, never through a shell string built from data.
#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <functional>
#include <optional>

namespace tamsinvale {

struct ProcessOutput {
    bool launched = false;
    int exitCode = -1;
    QByteArray standardOutput;
    QString error;  // why it did not launch or did not finish
};

struct ProcessStart {
    bool launched = false;
    std::int32_t pid = 0;
    QString error;
};

using Environment = QMap<QString, QString>;

class ExternalProcesses {
public:
    virtual ~ExternalProcesses() = default;

    // Runs to completion, capturing standard output (standard error is discarded).
    virtual ProcessOutput run(const QString& program, const QStringList& arguments, double timeoutSeconds) = 0;
    // Starts a program for the user: detached from our streams (all three on the null device) and from our
    // lifetime (it keeps running when we quit); `finished` runs on the main queue if it ends while we run.
    virtual ProcessStart start(const QString& program, const QStringList& arguments, const QString& workingDirectory,
                               const std::optional<Environment>& environment,
                               std::function<void(int exitCode)> finished) = 0;
    virtual bool isExecutableFile(const QString& path) const = 0;
    virtual Environment processEnvironment() const = 0;
};

}  // namespace tamsinvale
