// Desktop entries are read and their Exec line expanded here; the program is started detached, from an argument
// list, and the root's client list tells us when its first window is up.
#include "X11ApplicationLauncher.h"

#include "DesktopEntryExec.h"
#include "DesktopEntryIndex.h"
#include "X11Connection.h"
#include "X11Icons.h"
#include "X11Window.h"
#include "X11WindowActions.h"
#include "X11WindowReader.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QLoggingCategory>
#include <QProcess>
#include <QStandardPaths>
#include <QTimer>

namespace tamsinvale {

Q_LOGGING_CATEGORY(lcLaunch, "tamsinvale.x11.launch")

namespace {

// Desktop files are small; anything larger is not one.
constexpr qint64 maxEntryBytes = 1 << 20;

// The keys of the [Desktop Entry] group, localized ones resolved for the current locale.
QHash<QString, QString> readEntry(const QString& path, QString* error)
{
    QHash<QString, QString> keys;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read ") + path;
        return keys;
    }
    if (file.size() > maxEntryBytes) {
        *error = path + QStringLiteral(" is too large for a desktop entry");
        return keys;
    }
    const QString locale = QLocale().name();  // "de_DE"
    const QStringList preferred = {locale, locale.section(QLatin1Char('_'), 0, 0)};
    QHash<QString, int> rank;  // how well the localized value kept for a key matches (lower is better)
    bool inGroup = false;
    bool sawGroup = false;
    for (const QByteArray& raw : file.readAll().split('\n')) {
        const QString line = QString::fromUtf8(raw).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        if (line.startsWith(QLatin1Char('['))) {
            inGroup = line == QLatin1String("[Desktop Entry]");
            sawGroup = sawGroup || inGroup;
            continue;
        }
        if (!inGroup)
            continue;
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (eq <= 0)
            continue;
        QString key = line.left(eq).trimmed();
        const QString value = line.mid(eq + 1).trimmed();
        int r = preferred.size();
        if (const qsizetype open = key.indexOf(QLatin1Char('[')); open > 0 && key.endsWith(QLatin1Char(']'))) {
            const QString tag = key.mid(open + 1, key.size() - open - 2).section(QLatin1Char('.'), 0, 0)
                                    .section(QLatin1Char('@'), 0, 0);
            r = int(preferred.indexOf(tag));
            if (r < 0)
                continue;
            key = key.left(open);
        }
        if (!keys.contains(key) || r < rank.value(key)) {
            keys.insert(key, value);
            rank.insert(key, r);
        }
    }
    if (!sawGroup)
        *error = path + QStringLiteral(" has no [Desktop Entry] group");
    return keys;
}

std::int32_t parentOf(std::int32_t pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray line = stat.readAll().left(4096);
    const qsizetype close = line.lastIndexOf(')');  // the command name may hold spaces and parentheses
    if (close < 0)
        return 0;
    const QList<QByteArray> fields = line.mid(close + 2).split(' ');
    return fields.size() > 1 ? fields[1].toInt() : 0;
}

}  // namespace

X11ApplicationLauncher::X11ApplicationLauncher(X11Connection& connection, const X11WindowReader& reader,
                                               X11WindowActions* actions, QObject* parent)
    : QObject(parent), m_connection(connection), m_reader(reader), m_actions(actions)
{
    connect(&m_connection, &X11Connection::propertyChanged, this, [this](xcb_window_t window, xcb_atom_t atom) {
        if (window == m_connection.root() && atom == m_connection.ewmh()->_NET_CLIENT_LIST && !m_launches.isEmpty())
            scheduleCheck();
    });
}

X11ApplicationLauncher::~X11ApplicationLauncher() = default;

const DesktopEntryIndex& X11ApplicationLauncher::entries() const
{
    if (!m_entries)
        m_entries = std::make_unique<DesktopEntryIndex>();
    return *m_entries;
}

void X11ApplicationLauncher::reloadEntries() { m_entries.reset(); }

std::optional<QString> X11ApplicationLauncher::entryPathFor(const QString& id) const
{
    QString bare = id.trimmed();
    if (bare.endsWith(QLatin1String(".desktop")))
        bare.chop(8);
    if (bare.isEmpty())
        return std::nullopt;
    if (const DesktopEntry* entry = entries().byId(bare))
        return entry->path;
    // Applications named after their WM_CLASS (no entry matched their window) still find the entry that
    // declares that class, or whose id or program has that name.
    if (const DesktopEntry* entry = entries().match(QString(), bare, bare, bare))
        return entry->path;
    return std::nullopt;
}

QImage X11ApplicationLauncher::icon(const QString& path, int pointSize) const
{
    if (path.endsWith(QLatin1String(".desktop")) && QFileInfo(path).isFile()) {
        QString error;
        const QHash<QString, QString> keys = readEntry(path, &error);
        const QImage image = X11Icons::named(DesktopEntryExec::unescapeValue(keys.value(QStringLiteral("Icon"))),
                                             pointSize);
        if (!image.isNull())
            return image;
        return X11Icons::named(QStringLiteral("application-x-executable"), pointSize);
    }
    return X11Icons::forFile(path, pointSize);
}

void X11ApplicationLauncher::open(const QString& path, bool activates, std::function<void(LaunchResult)> done)
{
    auto fail = [this, &done](const QString& why) {
        qCWarning(lcLaunch).noquote() << "cannot open:" << why;
        // Always later, never inside the call: callers show an overlay first and dismiss it in the callback.
        QTimer::singleShot(0, this, [done, why] {
            if (done)
                done(LaunchResult{false, why, 0, XCB_WINDOW_NONE});
        });
    };

    const QFileInfo info(path);
    QStringList arguments;
    QString workingDirectory;
    QString wmClass;
    if (path.endsWith(QLatin1String(".desktop"))) {
        QString error;
        const QHash<QString, QString> keys = readEntry(path, &error);
        if (!error.isEmpty())
            return fail(error);
        if (const QString type = keys.value(QStringLiteral("Type")); type != QLatin1String("Application"))
            return fail(path + QStringLiteral(" is not an application (Type=") + type + QLatin1Char(')'));
        const QString tryExec = DesktopEntryExec::unescapeValue(keys.value(QStringLiteral("TryExec")));
        if (!tryExec.isEmpty() && QStandardPaths::findExecutable(tryExec).isEmpty()
            && !(QFileInfo(tryExec).isAbsolute() && QFileInfo(tryExec).isExecutable()))
            return fail(tryExec + QStringLiteral(" (TryExec) is not installed"));
        DesktopEntryExec::Context context;
        context.icon = DesktopEntryExec::unescapeValue(keys.value(QStringLiteral("Icon")));
        context.name = DesktopEntryExec::unescapeValue(keys.value(QStringLiteral("Name")));
        context.entryPath = info.absoluteFilePath();
        const DesktopEntryExec::Result exec =
            DesktopEntryExec::expand(DesktopEntryExec::unescapeValue(keys.value(QStringLiteral("Exec"))), context);
        if (!exec.ok())
            return fail(path + QStringLiteral(": ") + (exec.error.isEmpty() ? QStringLiteral("no Exec") : exec.error));
        arguments = exec.arguments;
        if (keys.value(QStringLiteral("Terminal")).compare(QLatin1String("true"), Qt::CaseInsensitive) == 0) {
            QString terminal = QStandardPaths::findExecutable(QStringLiteral("x-terminal-emulator"));
            if (terminal.isEmpty())
                terminal = QStandardPaths::findExecutable(QStringLiteral("xterm"));
            if (terminal.isEmpty())
                return fail(path + QStringLiteral(" needs a terminal and none is installed"));
            arguments = QStringList{terminal, QStringLiteral("-e")} + arguments;
        }
        workingDirectory = DesktopEntryExec::unescapeValue(keys.value(QStringLiteral("Path")));
        wmClass = keys.value(QStringLiteral("StartupWMClass")).toLower();
    } else if (info.isFile() && info.isExecutable()) {
        arguments = {info.absoluteFilePath()};
    } else {
        return fail(path + QStringLiteral(" is neither a desktop entry nor a program"));
    }

    QString program = arguments.takeFirst();
    if (!QFileInfo(program).isAbsolute()) {
        const QString found = QStandardPaths::findExecutable(program);
        if (found.isEmpty())
            return fail(program + QStringLiteral(" is not installed"));
        program = found;
    }
    if (workingDirectory.isEmpty() || !QFileInfo(workingDirectory).isDir())
        workingDirectory = QDir::homePath();

    Launch launch;
    launch.activates = activates;
    launch.wmClass = wmClass;
    launch.done = std::move(done);
    if (const auto clients = m_reader.clientList())
        launch.before = QSet<xcb_window_t>(clients->cbegin(), clients->cend());

    QProcess process;
    process.setProgram(program);
    process.setArguments(arguments);
    process.setWorkingDirectory(workingDirectory);
    process.setStandardInputFile(QProcess::nullDevice());
    qint64 pid = 0;
    if (!process.startDetached(&pid)) {
        done = std::move(launch.done);
        return fail(program + QStringLiteral(": ") + process.errorString());
    }
    launch.pid = static_cast<std::int32_t>(pid);
    qCInfo(lcLaunch).noquote() << "opened" << path << "as pid" << pid;

    const std::uint64_t id = m_nextLaunch++;
    launch.timer = new QTimer(this);
    launch.timer->setSingleShot(true);
    connect(launch.timer, &QTimer::timeout, this, [this, id] { finish(id, XCB_WINDOW_NONE); });
    launch.timer->start(m_windowTimeout);
    m_launches.insert(id, std::move(launch));
    // A window may already be listed by the time the first client-list change reaches us.
    scheduleCheck();
}

void X11ApplicationLauncher::scheduleCheck()
{
    if (m_checkQueued)
        return;
    m_checkQueued = true;
    // Out of X event dispatch: reading windows and calling back is main-loop work.
    QTimer::singleShot(0, this, [this] {
        m_checkQueued = false;
        checkNewWindows();
    });
}

bool X11ApplicationLauncher::descendsFrom(std::int32_t pid, std::int32_t ancestor) const
{
    // Launchers that fork (wrapper scripts, a terminal for Terminal=true) leave the window to a descendant.
    for (int hops = 0; pid > 1 && hops < 16; ++hops) {
        if (pid == ancestor)
            return true;
        pid = parentOf(pid);
    }
    return false;
}

void X11ApplicationLauncher::checkNewWindows()
{
    if (m_launches.isEmpty())
        return;
    const auto clients = m_reader.clientList();
    if (!clients)
        return;
    QList<xcb_window_t> fresh;
    for (const xcb_window_t w : *clients) {
        bool old = true;
        for (const Launch& l : std::as_const(m_launches))
            old = old && l.before.contains(w);
        if (!old)
            fresh.append(w);
    }
    if (fresh.isEmpty())
        return;
    const QList<X11Window> windows = m_reader.read(fresh);
    QList<std::pair<std::uint64_t, xcb_window_t>> finished;
    for (auto it = m_launches.cbegin(); it != m_launches.cend(); ++it) {
        const Launch& l = it.value();
        for (const X11Window& w : windows) {
            if (!w.exists || l.before.contains(w.id))
                continue;
            const bool byProcess = w.pid > 0 && descendsFrom(w.pid, l.pid);
            const bool byClass = !l.wmClass.isEmpty()
                                 && (w.wmClass.toLower() == l.wmClass || w.wmInstance.toLower() == l.wmClass);
            if (byProcess || byClass) {
                finished.append({it.key(), w.id});
                break;
            }
        }
    }
    for (const auto& [id, window] : finished)
        finish(id, window);
}

void X11ApplicationLauncher::finish(std::uint64_t id, xcb_window_t window)
{
    auto it = m_launches.find(id);
    if (it == m_launches.end())
        return;
    Launch launch = std::move(it.value());
    m_launches.erase(it);
    // This may run from the timer's own timeout.
    launch.timer->stop();
    launch.timer->deleteLater();
    if (window != XCB_WINDOW_NONE && launch.activates && m_actions)
        m_actions->focus(window);
    if (window == XCB_WINDOW_NONE)
        qCInfo(lcLaunch) << "pid" << launch.pid << "showed no window in time";
    if (launch.done)
        launch.done(LaunchResult{true, QString(), launch.pid, window});
}

}  // namespace tamsinvale
