// Runs and starts programs; output is bounded so a runaway program cannot exhaust memory.
#include "LinuxProcesses.h"

#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>

namespace tamsinvale {

namespace {
constexpr qint64 maxCapturedOutput = 1024 * 1024;

QProcessEnvironment toQt(const Environment& environment)
{
    QProcessEnvironment env;
    for (auto it = environment.begin(); it != environment.end(); ++it)
        env.insert(it.key(), it.value());
    return env;
}
}  // namespace

ProcessOutput LinuxProcesses::run(const QString& program, const QStringList& arguments, double timeoutSeconds)
{
    QProcess process;
    process.setProgram(program);
    process.setArguments(arguments);
    process.setStandardErrorFile(QProcess::nullDevice());
    process.setStandardInputFile(QProcess::nullDevice());
    process.start();
    if (!process.waitForStarted())
        return ProcessOutput{false, -1, {}, process.errorString()};
    ProcessOutput out;
    out.launched = true;
    if (!process.waitForFinished(static_cast<int>(timeoutSeconds * 1000))) {
        process.kill();
        process.waitForFinished(1000);
        out.error = QStringLiteral("timed out");
        return out;
    }
    out.standardOutput = process.read(maxCapturedOutput);
    out.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return out;
}

ProcessStart LinuxProcesses::start(const QString& program, const QStringList& arguments,
                                   const QString& workingDirectory, const std::optional<Environment>& environment,
                                   std::function<void(int exitCode)> finished)
{
    auto* process = new QProcess(this);
    process->setProgram(program);
    process->setArguments(arguments);
    process->setWorkingDirectory(workingDirectory);
    process->setStandardInputFile(QProcess::nullDevice());
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    if (environment)
        process->setProcessEnvironment(toQt(*environment));
    QObject::connect(process, &QProcess::finished, process,
                     [process, finished = std::move(finished)](int exitCode, QProcess::ExitStatus status) {
                         if (finished)
                             finished(status == QProcess::NormalExit ? exitCode : -1);
                         process->deleteLater();
                     });
    process->start();
    if (!process->waitForStarted()) {
        const QString error = process->errorString();
        process->deleteLater();
        return ProcessStart{false, 0, error};
    }
    return ProcessStart{true, static_cast<std::int32_t>(process->processId()), {}};
}

bool LinuxProcesses::isExecutableFile(const QString& path) const
{
    const QFileInfo info(path);
    return info.isFile() && info.isExecutable();
}

Environment LinuxProcesses::processEnvironment() const
{
    Environment out;
    const QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const QString& key : env.keys())
        out.insert(key, env.value(key));
    return out;
}

}  // namespace tamsinvale
