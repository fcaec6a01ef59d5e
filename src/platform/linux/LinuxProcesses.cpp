// Runs programs to completion (output bounded, so a runaway program cannot exhaust memory) and starts programs for
// the user that outlive us: their own session, reaped while we run.
#include "LinuxProcesses.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QSocketNotifier>
#include <QTimer>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace tamsinvale {

namespace {
constexpr qint64 maxCapturedOutput = 1024 * 1024;

int openPidFd(pid_t pid)
{
#ifdef SYS_pidfd_open
    return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
#else
    Q_UNUSED(pid);
    errno = ENOSYS;
    return -1;
#endif
}

// Waits for one child without blocking anyone: its pidfd turns readable when it exits (a short poll on kernels
// without pidfds), then it is reaped and `finished` runs on the main thread. Deletes itself once done.
class ChildReaper : public QObject {
public:
    ChildReaper(pid_t pid, std::function<void(int)> finished, QObject* parent)
        : QObject(parent), m_pid(pid), m_finished(std::move(finished))
    {
        m_pidFd = openPidFd(pid);
        if (m_pidFd >= 0) {
            m_notifier = new QSocketNotifier(m_pidFd, QSocketNotifier::Read, this);
            connect(m_notifier, &QSocketNotifier::activated, this, &ChildReaper::reap);
        } else {
            auto* poll = new QTimer(this);
            connect(poll, &QTimer::timeout, this, &ChildReaper::reap);
            poll->start(250);
        }
    }
    ~ChildReaper() override
    {
        if (m_pidFd >= 0)
            ::close(m_pidFd);
    }

private:
    void reap()
    {
        int status = 0;
        const pid_t done = ::waitpid(m_pid, &status, WNOHANG);
        if (done == 0)
            return;  // still running
        if (m_notifier)
            m_notifier->setEnabled(false);
        // Gone without an exit status to read (reaped elsewhere): count it as an abnormal end.
        const int exitCode = done == m_pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        if (m_finished)
            m_finished(exitCode);
        deleteLater();
    }

    pid_t m_pid;
    std::function<void(int)> m_finished;
    int m_pidFd = -1;
    QSocketNotifier* m_notifier = nullptr;
};

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
    // What the child gets, prepared before the spawn: an argument list (no shell ever parses it), its environment.
    std::vector<QByteArray> argvBytes{QFile::encodeName(program)};
    for (const QString& argument : arguments)
        argvBytes.push_back(argument.toLocal8Bit());
    std::vector<char*> argv;
    for (QByteArray& a : argvBytes)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    std::vector<QByteArray> envBytes;
    std::vector<char*> envp;
    if (environment) {
        for (auto it = environment->begin(); it != environment->end(); ++it)
            envBytes.push_back((it.key() + QLatin1Char('=') + it.value()).toLocal8Bit());
        for (QByteArray& e : envBytes)
            envp.push_back(e.data());
        envp.push_back(nullptr);
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    // Nothing of ours (the X connection, the session bus) leaks into the user's program. macOS has no
    // addclosefrom; its POSIX_SPAWN_CLOEXEC_DEFAULT (below) closes every descriptor the actions do not name.
#ifndef __APPLE__
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
#endif
    const QByteArray directory = QFile::encodeName(workingDirectory);
    if (!directory.isEmpty())
        posix_spawn_file_actions_addchdir_np(&actions, directory.constData());
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    // A session of its own: quitting us, or a signal to our process group, leaves it running. Signal mask and
    // dispositions as a fresh program expects them, whatever Qt or we changed.
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    short flags = POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
#ifdef __APPLE__
    flags |= POSIX_SPAWN_CLOEXEC_DEFAULT;
#endif
    posix_spawnattr_setflags(&attributes, flags);
    pid_t pid = 0;
    const int error = posix_spawnp(&pid, argv.front(), &actions, &attributes, argv.data(),
                                   environment ? envp.data() : environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        return ProcessStart{false, 0, QString::fromLocal8Bit(std::strerror(error))};
    // Ours to reap while we run (no zombie); whoever inherits it reaps it after we are gone.
    new ChildReaper(pid, std::move(finished), this);
    return ProcessStart{true, static_cast<std::int32_t>(pid), {}};
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
