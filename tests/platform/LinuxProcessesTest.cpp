// Programs started for the user on Linux: exact argument lists, their own session and streams, reaped while we
// run, and still running after we are gone.
#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>
#include <csignal>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

#include "TestSupport.h"
#include "platform/linux/LinuxProcesses.h"

using namespace tamsinvale;

namespace {

QByteArray readAll(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// The state letter of /proc/<pid>/stat ('Z' for a zombie); nothing once the process is gone entirely.
std::optional<char> processState(pid_t pid)
{
    const QByteArray stat = readAll(QStringLiteral("/proc/%1/stat").arg(pid));
    const qsizetype close = stat.lastIndexOf(')');
    if (close < 0 || close + 2 >= stat.size())
        return std::nullopt;
    return stat.at(close + 2);
}

Environment withPath(Environment extra)
{
    extra.insert(QStringLiteral("PATH"), qEnvironmentVariable("PATH", QStringLiteral("/usr/bin:/bin")));
    return extra;
}

}  // namespace

TEST(LinuxProcesses, argumentsArriveAsGivenAndTheExitIsReportedAndReaped)
{
    QTemporaryDir dir;
    LinuxProcesses processes;
    std::optional<int> exitCode;
    // Words a shell would split, expand or run; none is interpreted.
    const ProcessStart started = processes.start(
        QStringLiteral("sh"),
        {QStringLiteral("-c"), QStringLiteral("printf '%s|' \"$@\" > args; pwd > where; printf %s \"$GREETING\" > env; exit 3"),
         QStringLiteral("sh"), QStringLiteral("two words"), QStringLiteral("$HOME"), QStringLiteral(";rm -rf x"),
         QStringLiteral("é")},
        dir.path(), withPath({{QStringLiteral("GREETING"), QStringLiteral("hello there")}}),
        [&](int code) { exitCode = code; });
    ASSERT_TRUE(started.launched) << started.error.toStdString();
    ASSERT_TRUE(test::waitUntil([&] { return exitCode.has_value(); }));
    EXPECT_EQ(*exitCode, 3);
    EXPECT_EQ(QString::fromUtf8(readAll(dir.filePath("args"))), QStringLiteral("two words|$HOME|;rm -rf x|é|"));
    EXPECT_EQ(readAll(dir.filePath("where")).trimmed(), QFile::encodeName(dir.path()));
    EXPECT_EQ(readAll(dir.filePath("env")), "hello there");
    // Reaped: no zombie left behind.
    EXPECT_FALSE(processState(started.pid).has_value()) << "state " << processState(started.pid).value_or('?');
}

TEST(LinuxProcesses, aStartedProgramOutlivesItsStarterInASessionOfItsOwn)
{
    pid_t pid = 0;
    {
        LinuxProcesses processes;
        bool finishedCalled = false;
        const ProcessStart started = processes.start(QStringLiteral("sleep"), {QStringLiteral("30")}, QString(),
                                                     std::nullopt, [&](int) { finishedCalled = true; });
        ASSERT_TRUE(started.launched) << started.error.toStdString();
        pid = started.pid;
        EXPECT_EQ(::getsid(pid), pid);
        EXPECT_FALSE(finishedCalled);
    }
    // The starter is gone (as when Tamsinvale quits); the program runs on.
    QCoreApplication::processEvents();
    ASSERT_EQ(::kill(pid, 0), 0);
    ASSERT_TRUE(processState(pid).has_value());
    EXPECT_NE(*processState(pid), 'Z');
    ::kill(pid, SIGTERM);
    ::waitpid(pid, nullptr, 0);
}

TEST(LinuxProcesses, aProgramThatCannotStartSaysWhy)
{
    LinuxProcesses processes;
    const ProcessStart started = processes.start(QStringLiteral("/nonexistent/tamsinvale-no-such-program"), {},
                                                 QString(), std::nullopt, [](int) {});
    EXPECT_FALSE(started.launched);
    EXPECT_FALSE(started.error.isEmpty());
}
