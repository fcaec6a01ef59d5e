// Activation raises the application's windows in the simulated server, as a window manager would.
#include "FakeWorkspace.h"

#include <QPainter>

#include "FakeScheduler.h"
#include "FakeWindowServer.h"

namespace tamsinvale {

FakeWorkspace::FakeWorkspace(FakeWindowServer& server, FakeScheduler& scheduler, std::int32_t ownPid, QObject* parent)
    : Workspace(parent), m_server(server), m_scheduler(scheduler), m_ownPid(ownPid)
{
    RunningApp self;
    self.pid = ownPid;
    self.bundleIdentifier = QStringLiteral("org.tamsinvale.Tamsinvale");
    self.localizedName = QStringLiteral("Tamsinvale");
    self.activationPolicy = ActivationPolicy::accessory;
    m_apps.insert(ownPid, self);
}

void FakeWorkspace::addApplication(const RunningApp& app) { m_apps.insert(app.pid, app); }

void FakeWorkspace::terminate(std::int32_t pid)
{
    if (!m_apps.contains(pid))
        return;
    m_apps.remove(pid);
    for (const WindowNumber n : m_server.stackingOrder())
        if (const FakeWindow* w = m_server.window(n); w && w->pid == pid)
            m_server.removeWindow(n);
    if (m_frontmost == pid)
        m_frontmost.reset();
    emit applicationTerminated(pid);
}

void FakeWorkspace::setFrontmost(std::int32_t pid)
{
    if (!m_apps.contains(pid))
        return;
    m_frontmost = pid;
    emit applicationActivated(m_apps.value(pid));
}

std::optional<RunningApp> FakeWorkspace::frontmostApplication() const
{
    if (!m_frontmost || !m_apps.contains(*m_frontmost))
        return std::nullopt;
    return m_apps.value(*m_frontmost);
}

std::optional<RunningApp> FakeWorkspace::runningApplication(std::int32_t pid) const
{
    if (!m_apps.contains(pid))
        return std::nullopt;
    return m_apps.value(pid);
}

bool FakeWorkspace::activate(std::int32_t pid, bool allWindows)
{
    m_activations.append({pid, allWindows});
    if (!m_apps.contains(pid))
        return false;
    // Raise back to front so that the application's frontmost window ends up on top.
    QList<WindowNumber> mine;
    for (const WindowNumber n : m_server.stackingOrder())
        if (const FakeWindow* w = m_server.window(n); w && w->pid == pid && w->layer == WindowLevel::normal)
            mine.append(n);
    if (!allWindows && !mine.isEmpty())
        mine = {mine.first()};
    for (auto it = mine.rbegin(); it != mine.rend(); ++it)
        m_server.raise(*it);
    setFrontmost(pid);
    return true;
}

bool FakeWorkspace::requestQuit(std::int32_t pid)
{
    m_quitRequests.append(pid);
    if (!m_apps.contains(pid) || pid == m_ownPid)
        return false;
    const auto [behaviour, delay] = m_quitScripts.value(pid, {QuitBehaviour::quits, 0.5});
    if (behaviour == QuitBehaviour::cannotBeAsked)
        return false;
    if (behaviour == QuitBehaviour::quits)
        m_scheduler.postAfter(delay, [this, pid] { terminate(pid); });
    return true;
}

std::optional<QString> FakeWorkspace::urlForApplication(const QString& bundleIdentifier) const
{
    if (!m_installed.contains(bundleIdentifier))
        return std::nullopt;
    return m_installed.value(bundleIdentifier);
}

void FakeWorkspace::scriptOpen(const QString& path, bool succeeds, std::optional<RunningApp> launches, double delay)
{
    m_openScripts.insert(path, OpenScript{succeeds, std::move(launches), delay});
}

void FakeWorkspace::openApplication(const QString& path, bool activates, std::function<void(OpenResult)> done)
{
    m_openRequests.append(path);
    const OpenScript script = m_openScripts.value(path, OpenScript{false, std::nullopt, 0.5});
    m_scheduler.postAfter(script.delay, [this, script, activates, done = std::move(done)] {
        if (script.succeeds && script.launches) {
            addApplication(*script.launches);
            if (activates)
                activate(script.launches->pid, true);
        }
        if (done)
            done(OpenResult{script.succeeds, script.succeeds ? QString() : QStringLiteral("no such application")});
    });
}

QImage FakeWorkspace::iconForFile(const QString& path, int pointSize) const
{
    // A distinct flat colour per path, so that tests can tell icons apart.
    QImage image(pointSize, pointSize, QImage::Format_ARGB32_Premultiplied);
    image.fill(QColor::fromRgb(qHash(path) & 0xffffff));
    return image;
}

}  // namespace tamsinvale
