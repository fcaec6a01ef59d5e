// ditto as a child process: a launch failure or any exit status but 0 is a failed unpack.
#include "DittoArchiveUnpacker.h"

#include "ExternalProcesses.h"

namespace tamsinvale {

UnpackResult DittoArchiveUnpacker::unpack(const QString& archive, const QString& destination)
{
    // Generous: a large picture archive unpacks in seconds, a hung one must not hold the queue forever.
    constexpr double timeoutSeconds = 600;
    const ProcessOutput out = m_processes.run(QStringLiteral("/usr/bin/ditto"),
                                              {QStringLiteral("-x"), QStringLiteral("-k"), archive, destination},
                                              timeoutSeconds);
    if (!out.launched)
        return {false, QStringLiteral("ditto did not run: ") + out.error};
    if (out.exitCode != 0)
        return {false, QStringLiteral("ditto exited with status %1").arg(out.exitCode)};
    return {true, {}};
}

}  // namespace tamsinvale
