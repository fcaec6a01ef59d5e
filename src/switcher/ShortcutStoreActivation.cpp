// Activating bound targets: a running instance first, then the stored path, then the bundle identifier; scripts
// run with a python3 found the way a login shell would find it, one process per shortcut while it runs.
#include <QFileInfo>
#include <QPointer>

#include "ShortcutStore.h"
#include "platform/Logging.h"
#include "services/LaunchOverlayController.h"

namespace tamsinvale {

namespace {

constexpr double commandTimeoutSeconds = 10.0;
constexpr double firstWindowSearchDelay = 0.5;
constexpr double windowSearchInterval = 0.2;
constexpr double windowSearchLimit = 20.0;

const QChar ellipsis(0x2026);

bool isScript(const QString& path) { return QFileInfo(path).suffix().toLower() == QLatin1String("py"); }

}  // namespace

QImage ShortcutStore::iconFor(const QString& path) const
{
    if (m_iconProvider)
        return m_iconProvider(path);
    return m_platform.workspace ? m_platform.workspace->iconForFile(path, 64) : QImage();
}

bool ShortcutStore::activateRunningInstance(const std::optional<QString>& bundleIdentifier, const QString& name)
{
    if (!bundleIdentifier || !m_platform.workspace)
        return false;
    for (const RunningApp& app : m_platform.workspace->runningApplications(*bundleIdentifier)) {
        // Only an ordinary application: accessory and background instances have no window to bring forward.
        if (app.activationPolicy != ActivationPolicy::regular || app.terminated)
            continue;
        qCInfo(lcSwitcher, "activate: '%s' via running instance", qUtf8Printable(name));
        m_platform.workspace->activate(app.pid, true);
        return true;
    }
    return false;
}

std::optional<QString> ShortcutStore::targetPath(const AppShortcut& shortcut) const
{
    if (m_platform.bookmarks) {
        if (auto path = m_platform.bookmarks->resolve(shortcut.appBookmarkData))
            return path;
    }
    if (shortcut.bundleIdentifier && m_platform.workspace)
        return m_platform.workspace->urlForApplication(*shortcut.bundleIdentifier);
    return std::nullopt;
}

void ShortcutStore::activate(const AppShortcut& shortcut)
{
    if (activateRunningInstance(shortcut.bundleIdentifier, shortcut.name))
        return;
    Workspace* workspace = m_platform.workspace;
    const std::optional<QString> path =
        m_platform.bookmarks ? m_platform.bookmarks->resolve(shortcut.appBookmarkData) : std::nullopt;
    if (!path) {
        qCInfo(lcSwitcher,
               "activate: '%s' FAILED — bookmark did not resolve and app is not running. Falling back to bundle id "
               "lookup.",
               qUtf8Printable(shortcut.name));
        if (shortcut.bundleIdentifier && workspace) {
            if (const auto url = workspace->urlForApplication(*shortcut.bundleIdentifier))
                workspace->openApplication(*url, true, nullptr);
        }
        return;
    }
    m_platform.bookmarks->startAccessing(*path);
    if (!isScript(*path)) {
        if (m_overlay)
            m_overlay->show(shortcut.name + ellipsis, iconFor(*path));
        QPointer<LaunchOverlayController> overlay(m_overlay);
        if (workspace) {
            workspace->openApplication(*path, true, [overlay](OpenResult) {
                if (overlay)
                    overlay->dismiss();
            });
        }
        m_platform.bookmarks->stopAccessing(*path);
        return;
    }
    const auto launched = m_launchedScripts.constFind(shortcut.id);
    if (launched == m_launchedScripts.cend()) {
        runPythonScript(*path, shortcut);
    } else {
        const std::optional<RunningApp> running =
            workspace ? workspace->runningApplication(launched->pid) : std::nullopt;
        if (!running || running->terminated) {
            m_launchedScripts.remove(shortcut.id);
            m_scriptProcesses.remove(shortcut.id);
            runPythonScript(*path, shortcut);
        } else {
            // A second press shows the running copy instead of starting another.
            workspace->activate(running->pid, true);
        }
    }
    m_platform.bookmarks->stopAccessing(*path);
}

void ShortcutStore::activate(const DiscoveredApp& app)
{
    if (activateRunningInstance(app.bundleIdentifier, app.name))
        return;
    if (!m_platform.workspace)
        return;
    if (m_overlay)
        m_overlay->show(app.name + ellipsis, iconFor(app.url));
    QPointer<LaunchOverlayController> overlay(m_overlay);
    m_platform.workspace->openApplication(app.url, true, [overlay](OpenResult) {
        if (overlay)
            overlay->dismiss();
    });
}

std::optional<QString> ShortcutStore::interpreterFromCommand(const QString& program, const QStringList& arguments)
{
    ExternalProcesses* processes = m_platform.processes;
    const ProcessOutput output = processes->run(program, arguments, commandTimeoutSeconds);
    if (!output.launched || output.exitCode != 0)
        return std::nullopt;
    const QByteArray raw = output.standardOutput;
    const QString text = QString::fromUtf8(raw);
    // Output that is not valid UTF-8 is not a path we can trust.
    if (text.toUtf8() != raw)
        return std::nullopt;
    const QString path = text.trimmed();
    if (path.isEmpty() || !processes->isExecutableFile(path))
        return std::nullopt;
    return path;
}

std::optional<QString> ShortcutStore::resolvePythonInterpreter()
{
    ExternalProcesses* processes = m_platform.processes;
    if (!processes)
        return std::nullopt;
    const QString which = QStringLiteral("which python3");
    const Environment environment = processes->processEnvironment();
    // Login shells first: a graphical session does not inherit the PATH where package managers put Python.
    if (environment.contains(QStringLiteral("SHELL")) && !environment.value(QStringLiteral("SHELL")).isEmpty()) {
        if (auto p = interpreterFromCommand(environment.value(QStringLiteral("SHELL")),
                                            {QStringLiteral("-l"), QStringLiteral("-c"), which}))
            return p;
    }
    for (const char* shell : {"/bin/zsh", "/bin/bash"}) {
        if (auto p = interpreterFromCommand(QLatin1String(shell), {QStringLiteral("-l"), QStringLiteral("-c"), which}))
            return p;
    }
    if (auto p = interpreterFromCommand(QStringLiteral("/usr/bin/env"), {QStringLiteral("which"), QStringLiteral("python3")}))
        return p;
    for (const char* fixed : {"/usr/local/bin/python3", "/opt/homebrew/bin/python3", "/usr/bin/python3",
                              "/Library/Frameworks/Python.framework/Versions/Current/bin/python3"}) {
        if (processes->isExecutableFile(QLatin1String(fixed)))
            return QString::fromLatin1(fixed);
    }
    return std::nullopt;
}

const Environment& ShortcutStore::captureLoginShellEnvironment()
{
    if (m_loginShellEnvironment)
        return *m_loginShellEnvironment;
    ExternalProcesses* processes = m_platform.processes;
    Environment environment = processes->processEnvironment();
    QString shell = environment.value(QStringLiteral("SHELL"));
    if (shell.isEmpty())
        shell = QStringLiteral("/bin/bash");
    // NUL-separated output keeps values with newlines intact.
    const ProcessOutput output =
        processes->run(shell, {QStringLiteral("-l"), QStringLiteral("-c"), QStringLiteral("env -0")},
                       commandTimeoutSeconds);
    if (output.launched && output.exitCode == 0 && !output.standardOutput.isEmpty()) {
        Environment captured;
        for (const QByteArray& pair : output.standardOutput.split('\0')) {
            const qsizetype eq = pair.indexOf('=');
            if (eq > 0)
                captured.insert(QString::fromUtf8(pair.left(eq)), QString::fromUtf8(pair.mid(eq + 1)));
        }
        if (!captured.isEmpty())
            environment = captured;
    }
    m_loginShellEnvironment = environment;
    return *m_loginShellEnvironment;
}

void ShortcutStore::showScriptError(const QString& message)
{
    qCWarning(lcSwitcher, "%s: %s", qUtf8Printable(scriptErrorTitle), qUtf8Printable(message));
    if (m_alert)
        m_alert(scriptErrorTitle, message);
}

void ShortcutStore::runPythonScript(const QString& path, const AppShortcut& shortcut)
{
    if (!m_pythonInterpreterURL)
        m_pythonInterpreterURL = resolvePythonInterpreter();
    if (!m_pythonInterpreterURL) {
        showScriptError(noInterpreterMessage);
        return;
    }
    if (m_overlay)
        m_overlay->show(shortcut.name + ellipsis, iconFor(path));
    const Environment& environment = captureLoginShellEnvironment();
    QPointer<ShortcutStore> self(this);
    const QUuid id = shortcut.id;
    auto pidSlot = std::make_shared<std::int32_t>(0);
    const ProcessStart started = m_platform.processes->start(
        *m_pythonInterpreterURL, {path}, QFileInfo(path).absolutePath(), environment, [self, id, pidSlot](int) {
            // Forget the script only if the entry still belongs to this process.
            if (!self)
                return;
            const auto it = self->m_launchedScripts.constFind(id);
            if (it != self->m_launchedScripts.cend() && it->pid == *pidSlot) {
                self->m_launchedScripts.remove(id);
                self->m_scriptProcesses.remove(id);
            }
        });
    if (!started.launched) {
        if (m_overlay)
            m_overlay->dismiss();
        showScriptError(QStringLiteral("Failed to launch ") + shortcut.name + QStringLiteral(": ") + started.error);
        return;
    }
    *pidSlot = started.pid;
    const QDateTime now = m_platform.scheduler ? m_platform.scheduler->currentDateTime() : QDateTime::currentDateTime();
    m_launchedScripts.insert(id, ScriptProcessInfo{started.pid, now});
    m_scriptProcesses.insert(id, started.pid);
    if (m_platform.scheduler) {
        const double launchedAt = m_platform.scheduler->now();
        m_platform.scheduler->postAfter(firstWindowSearchDelay, [self, pid = started.pid, launchedAt] {
            if (self)
                self->searchScriptWindow(pid, launchedAt);
        });
    }
}

void ShortcutStore::searchScriptWindow(std::int32_t pid, double launchedAt)
{
    Workspace* workspace = m_platform.workspace;
    if (workspace) {
        if (const auto app = workspace->runningApplication(pid); app && !app->terminated) {
            workspace->activate(pid, true);
            if (m_overlay)
                m_overlay->dismiss();
            return;
        }
    }
    if (m_platform.scheduler->now() + windowSearchInterval - launchedAt > windowSearchLimit + 1e-9) {
        // A command-line script never shows a window; it is left running.
        if (m_overlay)
            m_overlay->dismiss();
        return;
    }
    QPointer<ShortcutStore> self(this);
    m_platform.scheduler->postAfter(windowSearchInterval, [self, pid, launchedAt] {
        if (self)
            self->searchScriptWindow(pid, launchedAt);
    });
}

}  // namespace tamsinvale
