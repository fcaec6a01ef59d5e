// Canned command results keyed by the full argument list.
#include "FakeProcesses.h"

namespace tamsinvale {

void FakeProcesses::scriptRun(const QString& program, const QStringList& arguments, ProcessOutput output)
{
    m_scripted.insert(QStringList{program} + arguments, std::move(output));
}

void FakeProcesses::setExecutable(const QString& path, bool executable)
{
    if (executable)
        m_executables.insert(path);
    else
        m_executables.remove(path);
}

ProcessOutput FakeProcesses::run(const QString& program, const QStringList& arguments, double)
{
    const QStringList command = QStringList{program} + arguments;
    m_runs.append(command);
    const auto it = m_scripted.constFind(command);
    if (it == m_scripted.cend())
        return ProcessOutput{false, -1, {}, QStringLiteral("No such file or directory")};
    return *it;
}

ProcessStart FakeProcesses::start(const QString& program, const QStringList& arguments,
                                  const QString& workingDirectory, const std::optional<Environment>& environment,
                                  std::function<void(int exitCode)> finished)
{
    if (!m_startError.isEmpty())
        return ProcessStart{false, 0, m_startError};
    const std::int32_t pid = m_nextPid++;
    m_started.append(Started{pid, program, arguments, workingDirectory, environment});
    m_running.insert(pid, std::move(finished));
    return ProcessStart{true, pid, {}};
}

void FakeProcesses::finish(std::int32_t pid, int exitCode)
{
    const auto callback = m_running.take(pid);
    if (callback)
        callback(exitCode);
}

}  // namespace tamsinvale
