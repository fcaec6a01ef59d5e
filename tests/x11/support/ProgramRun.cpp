// Program runs and private session buses for the end-to-end tests.
#include "ProgramRun.h"

#include <sys/wait.h>

namespace tamsinvale::x11test {

using namespace std::chrono_literals;

ToolRun runWith(const QStringList& environment, const QStringList& argv)
{
    auto p = ChildProcess::start(QStringList{"sh", "-c", "exec \"$@\" 2>&1", "sh"} + argv, environment);
    ToolRun run;
    if (!p)
        return run;
    while (auto line = p->readLine(15s))
        run.output += *line + QLatin1Char('\n');
    int status = 0;
    if (p->waitForExit(15s, &status) && WIFEXITED(status))
        run.exitCode = WEXITSTATUS(status);
    return run;
}

SessionBus::SessionBus()
{
    daemon = ChildProcess::start({"dbus-daemon", "--session", "--nofork", "--print-address=1"});
    if (daemon)
        address = daemon->readLine(10s).value_or(QString());
}

}  // namespace tamsinvale::x11test
