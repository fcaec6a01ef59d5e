// Applications and their notifications, derived from the EWMH root properties and /proc.
#include "X11Workspace.h"

#include "DesktopEntryIndex.h"
#include "X11ApplicationLauncher.h"
#include "X11Connection.h"
#include "X11WindowActions.h"
#include "X11WindowReader.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QSocketNotifier>
#include <QTimer>
#include <cerrno>
#include <sys/syscall.h>
#include <unistd.h>

namespace tamsinvale {

namespace {

// Launch time of a process: its start in clock ticks after boot (/proc/<pid>/stat) plus the boot time.
QDateTime launchDateOf(std::int32_t pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return {};
    const QByteArray line = stat.readAll().left(4096);
    const qsizetype close = line.lastIndexOf(')');  // the command name may itself hold spaces and parentheses
    if (close < 0)
        return {};
    const QList<QByteArray> fields = line.mid(close + 2).split(' ');
    if (fields.size() < 20)
        return {};
    bool ok = false;
    const qulonglong startTicks = fields[19].toULongLong(&ok);
    if (!ok)
        return {};
    QFile procStat(QStringLiteral("/proc/stat"));
    if (!procStat.open(QIODevice::ReadOnly))
        return {};
    // Files under /proc report a size of 0, so they are read whole rather than line by line until atEnd().
    qint64 bootSeconds = -1;
    for (const QByteArray& l : procStat.readAll().split('\n')) {
        if (l.startsWith("btime ")) {
            bootSeconds = l.mid(6).trimmed().toLongLong(&ok);
            break;
        }
    }
    const long ticksPerSecond = sysconf(_SC_CLK_TCK);
    if (bootSeconds < 0 || ticksPerSecond <= 0)
        return {};
    const qint64 ms = bootSeconds * 1000 + qint64(startTicks) * 1000 / ticksPerSecond;
    return QDateTime::fromMSecsSinceEpoch(ms);
}

int pidfdOpen(std::int32_t pid)
{
#ifdef SYS_pidfd_open
    return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
#else
    errno = ENOSYS;
    return -1;
#endif
}

}  // namespace

X11Workspace::X11Workspace(X11Connection& connection, const X11WindowReader& reader, QObject* parent)
    : Workspace(parent), m_connection(connection), m_reader(reader)
{
    connect(&m_connection, &X11Connection::propertyChanged, this, &X11Workspace::onRootProperty);
    connect(&m_connection, &X11Connection::buttonPressed, this, [this](std::uint32_t button) {
        if (button == 1)
            emit leftMouseDown();
    });
    // Seeded quietly so that the first notifications are real changes.
    if (const auto clients = m_reader.clientList()) {
        const QList<X11Window> windows = m_reader.read(*clients);
        for (const X11Window& w : windows) {
            if (!w.exists)
                continue;
            m_clients.insert(w.id, w.pid);
            if (w.pid > 0 && w.pid != ownPid())  // our own windows' event masks are Qt's, on this very connection
                m_connection.watchWindow(w.id);
        }
    }
    m_activeWindow = m_reader.activeWindow();
    if (m_activeWindow != XCB_WINDOW_NONE)
        m_activePid = m_clients.value(m_activeWindow, m_reader.read(m_activeWindow).pid);
    xcb_flush(m_connection.xcb());
}

X11Workspace::~X11Workspace() = default;

const DesktopEntryIndex& X11Workspace::entries() const
{
    if (!m_entries)
        m_entries = std::make_unique<DesktopEntryIndex>();
    return *m_entries;
}

void X11Workspace::reloadDesktopEntries()
{
    m_entries.reset();
    if (m_launcher)
        m_launcher->reloadEntries();
}

QString X11Workspace::executableOf(std::int32_t pid) const
{
    if (pid <= 0)
        return {};
    if (const auto it = m_executables.constFind(pid); it != m_executables.cend())
        return *it;
    QString exe = QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(pid))).fileName();
    if (exe.isEmpty()) {
        // Another user's process: /proc/<pid>/exe is not readable, its comm is.
        QFile comm(QStringLiteral("/proc/%1/comm").arg(pid));
        if (comm.open(QIODevice::ReadOnly))
            exe = QString::fromUtf8(comm.read(64)).trimmed();
    }
    m_executables.insert(pid, exe);
    return exe;
}

X11Workspace::Identity X11Workspace::identify(const X11Window& window) const
{
    Identity id;
    if (const DesktopEntry* entry = entries().match(window.gtkApplicationId, window.wmInstance, window.wmClass,
                                                    executableOf(window.pid))) {
        id.bundleIdentifier = entry->id;
        id.localizedName = entry->name;
        id.path = entry->path;
    }
    if (!id.bundleIdentifier && !window.wmClass.isEmpty())
        id.bundleIdentifier = window.wmClass;
    if (id.localizedName.isEmpty())
        id.localizedName = !window.wmClass.isEmpty() ? window.wmClass : executableOf(window.pid);
    return id;
}

QString X11Workspace::ownerName(const X11Window& window) const
{
    return identify(window).localizedName;
}

RunningApp X11Workspace::appFor(std::int32_t pid, const QList<X11Window>& windows) const
{
    RunningApp app;
    app.pid = pid;
    if (const auto it = m_launchDates.constFind(pid); it != m_launchDates.cend()) {
        app.launchDate = *it;
    } else {
        app.launchDate = launchDateOf(pid);
        if (app.launchDate.isValid())
            m_launchDates.insert(pid, app.launchDate);
    }
    app.activationPolicy = ActivationPolicy::accessory;
    // The window that best says who the application is: one with an application id, else one with WM_CLASS.
    const X11Window* best = nullptr;
    for (const X11Window& w : windows) {
        if (w.type == X11WindowType::normal)
            app.activationPolicy = ActivationPolicy::regular;
        if (!best || (best->gtkApplicationId.isEmpty() && !w.gtkApplicationId.isEmpty())
            || (best->wmClass.isEmpty() && !w.wmClass.isEmpty()))
            best = &w;
    }
    if (best) {
        const Identity id = identify(*best);
        app.bundleIdentifier = id.bundleIdentifier;
        app.localizedName = id.localizedName;
        app.bundlePath = id.path;
    } else {
        app.localizedName = executableOf(pid);
    }
    // A running Tamsinvale seen from another of our processes (`tamsinvale inactive`, `debug`) is still a tray
    // utility, whatever panels it shows; its windows carry our class name.
    const std::optional<QString> own = ownBundleIdentifier();
    if (pid != ownPid() && app.bundleIdentifier && own
        && app.bundleIdentifier->compare(*own, Qt::CaseInsensitive) == 0) {
        app.bundleIdentifier = own;
        app.activationPolicy = ActivationPolicy::accessory;
    }
    if (pid == ownPid()) {
        app.bundleIdentifier = ownBundleIdentifier();
        app.localizedName = QCoreApplication::applicationName();
        app.activationPolicy = ActivationPolicy::accessory;  // a tray utility, whatever panels it shows
    }
    return app;
}

QList<RunningApp> X11Workspace::runningApplications() const
{
    QList<RunningApp> out;
    const auto clients = m_reader.clientList();
    QList<std::int32_t> order;
    QHash<std::int32_t, QList<X11Window>> byPid;
    if (clients) {
        for (const X11Window& w : m_reader.readWithoutGeometry(*clients)) {
            if (!w.exists || w.pid <= 0)
                continue;
            if (!byPid.contains(w.pid))
                order.append(w.pid);
            byPid[w.pid].append(w);
        }
    }
    if (!byPid.contains(ownPid()))
        order.append(ownPid());
    for (const std::int32_t pid : order)
        out.append(appFor(pid, byPid.value(pid)));
    return out;
}

std::optional<RunningApp> X11Workspace::runningApplication(std::int32_t pid) const
{
    if (pid <= 0)
        return std::nullopt;
    if (pid == ownPid())
        return appFor(pid, {});
    const auto clients = m_reader.clientList();
    if (!clients)
        return std::nullopt;
    QList<X11Window> mine;
    for (const X11Window& w : m_reader.readWithoutGeometry(*clients))
        if (w.exists && w.pid == pid)
            mine.append(w);
    if (mine.isEmpty())
        return std::nullopt;
    return appFor(pid, mine);
}

std::optional<RunningApp> X11Workspace::frontmostApplication() const
{
    const xcb_window_t active = m_reader.activeWindow();
    if (active == XCB_WINDOW_NONE)
        return std::nullopt;
    const X11Window window = m_reader.read(active);
    if (!window.exists || window.pid <= 0)
        return std::nullopt;
    return runningApplication(window.pid);
}

bool X11Workspace::activate(std::int32_t pid, bool allWindows)
{
    // As an application's activation elsewhere: the request is made and the manager's answer arrives as the
    // active window changing, which everything that follows the frontmost application watches anyway.
    return m_actions && m_actions->activateApplication(pid, allWindows, X11WindowActions::Confirmation::later);
}

bool X11Workspace::requestQuit(std::int32_t pid)
{
    // An X application has no "quit" request of its own; closing every window is what quitting it by hand means.
    return pid != ownPid() && m_actions && m_actions->requestCloseApplication(pid);
}

std::int32_t X11Workspace::ownPid() const { return static_cast<std::int32_t>(::getpid()); }

std::optional<QString> X11Workspace::ownBundleIdentifier() const
{
    const QString desktopFile = QGuiApplication::desktopFileName();
    if (!desktopFile.isEmpty())
        return desktopFile;
    return QStringLiteral("tamsinvale");
}

std::optional<QString> X11Workspace::urlForApplication(const QString& bundleIdentifier) const
{
    if (m_launcher)
        return m_launcher->entryPathFor(bundleIdentifier);
    if (const DesktopEntry* entry = entries().byId(bundleIdentifier))
        return entry->path;
    return std::nullopt;
}

void X11Workspace::openApplication(const QString& path, bool activates, std::function<void(OpenResult)> done)
{
    if (!m_launcher) {
        QTimer::singleShot(0, this, [done = std::move(done)] {
            if (done)
                done(OpenResult{false, QStringLiteral("no application launcher")});
        });
        return;
    }
    m_launcher->open(path, activates, [done = std::move(done)](const LaunchResult& r) {
        if (done)
            done(OpenResult{r.ok, r.error});
    });
}

QImage X11Workspace::iconForFile(const QString& path, int pointSize) const
{
    return m_launcher ? m_launcher->icon(path, pointSize) : QImage();
}

void X11Workspace::beep()
{
    xcb_bell(m_connection.xcb(), 0);
    xcb_flush(m_connection.xcb());
}

void X11Workspace::onRootProperty(xcb_window_t window, xcb_atom_t atom)
{
    if (window != m_connection.root())
        return;
    const xcb_ewmh_connection_t* e = m_connection.ewmh();
    if (atom == e->_NET_ACTIVE_WINDOW)
        updateActiveWindow();
    else if (atom == e->_NET_CLIENT_LIST)
        updateClientList();
    else if (atom == e->_NET_CURRENT_DESKTOP)
        emit activeSpaceChanged();
}

void X11Workspace::updateActiveWindow()
{
    // The application lookup and everybody reacting to the change read the same desktop.
    const X11WindowReader::Batch batch(m_reader);
    const xcb_window_t active = m_reader.activeWindow();
    const xcb_timestamp_t now = m_connection.lastPropertyTime();
    if (active == m_activeWindow)
        return;
    if (active == XCB_WINDOW_NONE) {
        // Nothing is active (a click on the desktop, an empty workspace): frontmostApplication reports none, and
        // whichever application comes next is an activation, the one that was active before included.
        m_activeWindow = XCB_WINDOW_NONE;
        m_nothingActiveSince = now;
        return;
    }
    // Some managers pass through None between two windows for a moment; that is no time with nothing active.
    const bool afterNothing = m_nothingActiveSince && now - *m_nothingActiveSince >= transientNothingActiveMs;
    m_nothingActiveSince.reset();
    m_activeWindow = active;
    std::int32_t pid = m_clients.value(active, 0);
    if (pid == 0)
        pid = m_reader.read(active).pid;
    emit activeWindowChanged(active, pid);
    if (pid <= 0 || (pid == m_activePid && !afterNothing))
        return;
    m_activePid = pid;
    if (const auto app = runningApplication(pid)) {
        emit applicationActivated(*app);
    }
}

void X11Workspace::updateClientList()
{
    const auto clients = m_reader.clientList();
    if (!clients)
        return;
    const QSet<xcb_window_t> now(clients->cbegin(), clients->cend());
    QList<xcb_window_t> added;
    for (const xcb_window_t w : *clients)
        if (!m_clients.contains(w))
            added.append(w);
    QList<std::pair<xcb_window_t, std::int32_t>> removed;
    for (auto it = m_clients.cbegin(); it != m_clients.cend(); ++it)
        if (!now.contains(it.key()))
            removed.append({it.key(), it.value()});

    for (const X11Window& w : m_reader.read(added)) {
        if (!w.exists)
            continue;
        m_clients.insert(w.id, w.pid);
        if (w.pid > 0 && w.pid != ownPid())  // our own windows' event masks are Qt's, on this very connection
            m_connection.watchWindow(w.id);
        if (QSocketNotifier* watcher = m_exitWatchers.take(w.pid)) {
            // Back with a new window before it exited: still running.
            ::close(static_cast<int>(watcher->socket()));
            delete watcher;
        }
        emit clientAdded(w.id, w.pid);
    }
    xcb_flush(m_connection.xcb());
    for (const auto& [window, pid] : removed) {
        m_clients.remove(window);
        emit clientRemoved(window, pid);
    }
    for (const auto& [window, pid] : removed) {
        bool gone = true;
        for (const std::int32_t p : std::as_const(m_clients))
            if (p == pid)
                gone = false;
        if (gone && pid > 0 && pid != ownPid())
            watchTermination(pid);
    }
}

void X11Workspace::watchTermination(std::int32_t pid)
{
    if (m_exitWatchers.contains(pid))
        return;
    // An application is over when its process ends; closing its last window usually ends it a moment later.
    const int fd = pidfdOpen(pid);
    if (fd < 0) {
        m_executables.remove(pid);
        m_launchDates.remove(pid);
        if (m_activePid == pid)
            m_activePid = 0;
        emit applicationTerminated(pid);
        return;
    }
    auto* notifier = new QSocketNotifier(fd, QSocketNotifier::Read, this);
    m_exitWatchers.insert(pid, notifier);
    connect(notifier, &QSocketNotifier::activated, this, [this, pid, notifier, fd] {
        notifier->setEnabled(false);
        m_exitWatchers.remove(pid);
        notifier->deleteLater();
        ::close(fd);
        m_executables.remove(pid);
        m_launchDates.remove(pid);
        if (m_activePid == pid)
            m_activePid = 0;
        emit applicationTerminated(pid);
    });
}

}  // namespace tamsinvale
