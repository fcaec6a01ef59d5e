// fork/exec with pipes; waiting is done on a pidfd and the pipes with poll(), never by sleeping.
#include "ChildProcess.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace tamsinvale::x11test {

namespace {

using Clock = std::chrono::steady_clock;

int msLeft(Clock::time_point deadline)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left < 0 ? 0 : static_cast<int>(left);
}

}  // namespace

std::unique_ptr<ChildProcess> ChildProcess::start(const QStringList& argv, const QStringList& environment, bool keepStderr)
{
    if (argv.isEmpty())
        return nullptr;
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0)
        return nullptr;
    if (pipe2(out, O_CLOEXEC) != 0) {
        close(in[0]);
        close(in[1]);
        return nullptr;
    }
    // Everything the child needs is prepared before fork: only async-signal-safe calls happen after it.
    std::vector<QByteArray> args;
    for (const QString& a : argv)
        args.push_back(a.toLocal8Bit());
    std::vector<char*> argp;
    for (QByteArray& a : args)
        argp.push_back(a.data());
    argp.push_back(nullptr);
    std::vector<QByteArray> env;
    for (char** e = environ; *e; ++e) {
        const QByteArray entry(*e);
        const QByteArray name = entry.left(entry.indexOf('=') + 1);
        bool replaced = false;
        for (const QString& o : environment)
            replaced = replaced || o.toLocal8Bit().startsWith(name);
        if (!replaced)
            env.push_back(entry);
    }
    for (const QString& o : environment)
        env.push_back(o.toLocal8Bit());
    std::vector<char*> envp;
    for (QByteArray& e : env)
        envp.push_back(e.data());
    envp.push_back(nullptr);
    const int devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);

    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid < 0)
        return nullptr;
    if (pid == 0) {
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        if (!keepStderr && devNull >= 0)
            dup2(devNull, STDERR_FILENO);
        // Its own process group, so that stopping it also stops what it started; and it dies with the test,
        // even when the test is killed outright (a CTest timeout) and no destructor runs.
        setpgid(0, 0);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent)
            _exit(127);
        execvpe(argp[0], argp.data(), envp.data());
        _exit(127);
    }
    if (devNull >= 0)
        close(devNull);
    close(in[0]);
    close(out[1]);
    auto child = std::unique_ptr<ChildProcess>(new ChildProcess);
    child->m_pid = pid;
    child->m_stdin = in[1];
    child->m_stdout = out[0];
    child->m_pidfd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    return child;
}

ChildProcess::~ChildProcess()
{
    stop();
    if (m_stdin >= 0)
        close(m_stdin);
    if (m_stdout >= 0)
        close(m_stdout);
    if (m_pidfd >= 0)
        close(m_pidfd);
}

std::optional<QString> ChildProcess::readLine(std::chrono::milliseconds timeout)
{
    const auto deadline = Clock::now() + timeout;
    for (;;) {
        const qsizetype newline = m_buffer.indexOf('\n');
        if (newline >= 0) {
            const QString line = QString::fromUtf8(m_buffer.left(newline));
            m_buffer.remove(0, newline + 1);
            return line;
        }
        if (m_stdout < 0) {
            if (m_buffer.isEmpty())
                return std::nullopt;
            const QString last = QString::fromUtf8(m_buffer);
            m_buffer.clear();
            return last;
        }
        pollfd p{m_stdout, POLLIN, 0};
        const int r = poll(&p, 1, msLeft(deadline));
        if (r < 0 && errno == EINTR)
            continue;
        if (r <= 0)
            return std::nullopt;
        char chunk[4096];
        const ssize_t n = read(m_stdout, chunk, sizeof chunk);
        if (n <= 0) {
            close(m_stdout);
            m_stdout = -1;
            continue;
        }
        m_buffer.append(chunk, n);
    }
}

std::optional<QString> ChildProcess::readLineStartingWith(const QString& prefix, std::chrono::milliseconds timeout)
{
    const auto deadline = Clock::now() + timeout;
    while (Clock::now() < deadline) {
        const auto line = readLine(std::chrono::milliseconds(msLeft(deadline)));
        if (!line)
            return std::nullopt;
        if (line->startsWith(prefix))
            return line;
    }
    return std::nullopt;
}

bool ChildProcess::writeLine(const QString& line)
{
    if (m_stdin < 0)
        return false;
    const QByteArray data = line.toUtf8() + '\n';
    qsizetype done = 0;
    while (done < data.size()) {
        const ssize_t n = write(m_stdin, data.constData() + done, static_cast<size_t>(data.size() - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += n;
    }
    return true;
}

bool ChildProcess::waitForExit(std::chrono::milliseconds timeout, int* status)
{
    if (m_reaped)
        return true;
    const auto deadline = Clock::now() + timeout;
    for (;;) {
        int st = 0;
        const pid_t r = waitpid(m_pid, &st, WNOHANG);
        if (r == m_pid || (r < 0 && errno == ECHILD)) {
            m_reaped = true;
            if (status)
                *status = st;
            return true;
        }
        const int left = msLeft(deadline);
        if (left == 0)
            return false;
        if (m_pidfd >= 0) {
            pollfd p{m_pidfd, POLLIN, 0};
            poll(&p, 1, left);
        } else {
            // Without pidfds (old kernels) the exit is polled for.
            pollfd none{};
            poll(&none, 0, std::min(left, 20));
        }
    }
}

bool ChildProcess::running() { return !waitForExit(std::chrono::milliseconds(0)); }

void ChildProcess::stop(std::chrono::milliseconds grace)
{
    if (m_pid <= 0 || m_reaped)
        return;
    kill(-m_pid, SIGTERM);
    kill(m_pid, SIGTERM);
    if (waitForExit(grace))
        return;
    kill(-m_pid, SIGKILL);
    kill(m_pid, SIGKILL);
    waitForExit(std::chrono::milliseconds(10000));
}

std::optional<QString> runTool(const QStringList& argv, std::chrono::milliseconds timeout, int* exitCode)
{
    auto child = ChildProcess::start(argv, {}, true);
    if (!child)
        return std::nullopt;
    const auto deadline = Clock::now() + timeout;
    QString output;
    for (;;) {
        const auto line = child->readLine(std::chrono::milliseconds(msLeft(deadline)));
        if (!line)
            break;
        output += *line + QLatin1Char('\n');
    }
    int status = 0;
    if (!child->waitForExit(std::chrono::milliseconds(msLeft(deadline)), &status))
        return std::nullopt;
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (exitCode)
        *exitCode = code;
    if (code != 0)
        return std::nullopt;
    return output;
}

}  // namespace tamsinvale::x11test
