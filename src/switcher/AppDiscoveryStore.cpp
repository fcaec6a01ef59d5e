// Application discovery: folder scans with first-wins deduplication, a name sort, and the background refresh.
#include "AppDiscoveryStore.h"

#include <QCollator>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QHash>
#include <QPointer>
#include <QSet>
#include <algorithm>

#include "AppIconStore.h"
#include "BackgroundQueue.h"
#include "DesktopEntryFile.h"
#include "MainThreadBusyProbe.h"
#include "platform/Logging.h"
#include "platform/Scheduler.h"

namespace tamsinvale {

namespace {

AppDiscoveryStore* sharedStore = nullptr;

// Desktop entries nest rarely, and never this deep; the cap keeps a symlink loop harmless.
constexpr int maxDesktopDepth = 4;

QFileInfoList listDirectory(const QString& path)
{
    // Hidden children are skipped and the directory flag comes with the listing.
    return QDir(path).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name);
}

}  // namespace

DiscoveryConfiguration DiscoveryConfiguration::bundles(const QString& homePath, PropertyListReader reader)
{
    DiscoveryConfiguration c;
    c.layout = Layout::bundles;
    c.roots = {QStringLiteral("/Applications"), homePath + QStringLiteral("/Applications"),
               QStringLiteral("/System/Applications")};
    c.plistReader = std::move(reader);
    return c;
}

DiscoveryConfiguration DiscoveryConfiguration::freedesktopFromEnvironment()
{
    DiscoveryConfiguration c;
    c.layout = Layout::desktopEntries;
    QString home = qEnvironmentVariable("XDG_DATA_HOME");
    if (home.isEmpty())
        home = QDir::homePath() + QStringLiteral("/.local/share");
    c.roots.append(home + QStringLiteral("/applications"));
    QString dirs = qEnvironmentVariable("XDG_DATA_DIRS");
    if (dirs.isEmpty())
        dirs = QStringLiteral("/usr/local/share:/usr/share");
    for (const QString& d : dirs.split(QLatin1Char(':'), Qt::SkipEmptyParts))
        c.roots.append(d + QStringLiteral("/applications"));
    c.roots.removeDuplicates();
    c.currentDesktops = qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(QLatin1Char(':'), Qt::SkipEmptyParts);
    c.localeNames = DesktopEntryFile::currentLocaleNames();
    c.searchPath = qEnvironmentVariable("PATH").split(QLatin1Char(':'), Qt::SkipEmptyParts);
    return c;
}

AppDiscoveryStore::AppDiscoveryStore(DiscoveryConfiguration configuration, BackgroundQueue& background,
                                     QObject* parent)
    : QObject(parent)
    , m_configuration(std::move(configuration))
    , m_background(background)
    , m_self(std::make_shared<AppDiscoveryStore*>(this))
{
}

AppDiscoveryStore::~AppDiscoveryStore()
{
    if (sharedStore == this)
        sharedStore = nullptr;
}

AppDiscoveryStore* AppDiscoveryStore::shared() { return sharedStore; }
void AppDiscoveryStore::setShared(AppDiscoveryStore* store) { sharedStore = store; }

void AppDiscoveryStore::setIconStore(AppIconStore* icons)
{
    m_icons = icons;
}

void AppDiscoveryStore::refreshInBackground()
{
    if (m_refreshInFlight)
        return;
    m_refreshInFlight = true;
    QElapsedTimer started;
    started.start();
    // The worker gets its own copy of the configuration and only a weak handle on the store. It also gets the list
    // that is published now (shared, never modified in place), so that it alone pays for telling whether anything
    // changed: a refresh that finds what is shown costs the main thread nothing but a flag and a log line.
    auto outcome = std::make_shared<RefreshOutcome>();
    std::weak_ptr<AppDiscoveryStore*> weak = m_self;
    auto worker = std::make_shared<AppDiscoveryStore>(m_configuration, m_background);
    const AppIconStore::Preparer prepareIcons = m_icons ? m_icons->preparer() : AppIconStore::Preparer();
    QPointer<AppIconStore> icons(m_icons);
    // The first scan publishes the list at once and loads its icons right after: until then the list is empty,
    // and a switcher opened right after start is better off with placeholders than with nothing.
    const bool iconsAfterwards = !m_published;
    m_background.run(
        [worker, outcome, started, shown = m_apps, prepareIcons, iconsAfterwards] {
            outcome->apps = worker->scan();
            if (prepareIcons && !iconsAfterwards) {
                QList<IconRequest> requests;
                requests.reserve(outcome->apps.size());
                for (const DiscoveredApp& app : std::as_const(outcome->apps))
                    requests.append(IconRequest{app.id, app.url, app.icon, app.name});
                outcome->changedIcons = prepareIcons(requests);
            }
            outcome->unchanged = outcome->apps == shown;
            if (outcome->unchanged)
                outcome->apps.clear();  // freed here rather than on the main thread
            outcome->elapsed = started.elapsed();
        },
        [weak, outcome, worker, icons, prepareIcons, iconsAfterwards]() mutable {
            worker.reset();
            auto self = weak.lock();
            if (!self)
                return;
            auto publish = [weak, outcome, icons, prepareIcons, iconsAfterwards] {
                if (const auto self = weak.lock())
                    (*self)->publish(*outcome, icons, prepareIcons, iconsAfterwards);
            };
            // What changes the lists waits for a moment when no key or window-system event is waiting, so that it
            // never holds up the reaction to one; a refresh that found what is shown ends at once.
            Scheduler* scheduler = (*self)->m_scheduler;
            if (scheduler && outcome->changed())
                scheduler->postWhenIdle(publicationLatestSeconds, std::move(publish));
            else
                publish();
        });
}

void AppDiscoveryStore::publish(RefreshOutcome& outcome, QPointer<AppIconStore> icons,
                                const AppIconStore::Preparer& prepareIcons, bool iconsAfterwards)
{
    m_refreshInFlight = false;
    m_published = true;
    if (iconsAfterwards && prepareIcons && !outcome.unchanged) {
        QList<IconRequest> requests;
        for (const DiscoveredApp& app : std::as_const(outcome.apps))
            requests.append(IconRequest{app.id, app.url, app.icon, app.name});
        auto changed = std::make_shared<QSet<QString>>();
        m_background.run([prepareIcons, requests, changed] { *changed = prepareIcons(requests); },
                         [icons, changed] {
                             if (icons)
                                 icons->announce(*changed);
                         });
    }
    const long count = long(outcome.unchanged ? m_apps.size() : outcome.apps.size());
    qCInfo(lcDiscovery, "discovery: refreshed %ld apps in %ld ms (background)", count, long(outcome.elapsed));
    const bool changed = outcome.changed();
    if (changed) {
        // What a publication costs the main thread, with what it sets off (lists updated, then the frame drawn
        // again a turn later), measured as the longest stretch the event loop is kept from other work.
        MainThreadBusyProbe::watch(this, 3, 0.5, [](double longestMs, double cpuMs, int turns) {
            qCInfo(lcDiscovery,
                   "discovery: publication kept the main thread busy %.3f ms at most (%.3f ms on the CPU, %d turns)",
                   longestMs, cpuMs, turns);
        });
    }
    if (!outcome.unchanged) {
        m_apps = std::move(outcome.apps);
        emit appsChanged();
    }
    if (icons)
        icons->announce(outcome.changedIcons);
    emit refreshFinished(changed);
}

QList<DiscoveredApp> AppDiscoveryStore::scan() const
{
    QList<DiscoveredApp> running;
    QSet<QString> seenDesktopIds;
    for (const QString& root : m_configuration.roots) {
        QElapsedTimer timer;
        timer.start();
        if (m_configuration.layout == DiscoveryConfiguration::Layout::bundles) {
            running.append(scanFolder(root));
            for (const QFileInfo& child : listDirectory(root)) {
                if (child.isDir())
                    running.append(scanFolder(child.filePath()));
            }
        } else {
            running.append(scanDesktopEntries(root, seenDesktopIds));
        }
        const qint64 ms = timer.elapsed();
        if (ms > 100)
            qCInfo(lcDiscovery, "discovery: scanning %s took %ld ms", qUtf8Printable(root), long(ms));
    }
    QList<DiscoveredApp> unique;
    QSet<QString> ids;
    for (DiscoveredApp& app : running) {
        if (ids.contains(app.id))
            continue;
        ids.insert(app.id);
        unique.append(std::move(app));
    }
    sortByName(unique);
    return unique;
}

QList<DiscoveredApp> AppDiscoveryStore::scanFolder(const QString& folder) const
{
    QList<DiscoveredApp> out;
    for (const QFileInfo& child : listDirectory(folder)) {
        if (child.suffix() != QLatin1String("app") || child.fileName().startsWith(QLatin1Char('.')))
            continue;
        const QString path = child.filePath();
        const AppFileInfo info = AppInfoReader::bundleInfo(path, m_configuration.plistReader);
        out.append(DiscoveredApp{info.bundleIdentifier.value_or(path), info.name, info.bundleIdentifier, path, {}});
    }
    return out;
}

QList<DiscoveredApp> AppDiscoveryStore::scanDesktopEntries(const QString& root, QSet<QString>& seen) const
{
    QList<DiscoveredApp> out;
    scanDesktopDirectory(root, QString(), 0, seen, out);
    return out;
}

void AppDiscoveryStore::scanDesktopDirectory(const QString& dir, const QString& idPrefix, int depth,
                                             QSet<QString>& seen, QList<DiscoveredApp>& out) const
{
    if (depth > maxDesktopDepth)
        return;
    for (const QFileInfo& child : listDirectory(dir)) {
        if (child.isDir()) {
            scanDesktopDirectory(child.filePath(), idPrefix + child.fileName() + QLatin1Char('-'), depth + 1, seen,
                                 out);
            continue;
        }
        if (child.suffix() != QLatin1String("desktop") || !child.isFile())
            continue;
        const QString id = idPrefix + child.completeBaseName();
        // The first file for an id decides it, also when that file hides the application.
        if (seen.contains(id))
            continue;
        seen.insert(id);
        const std::optional<DesktopEntryFile> entry = DesktopEntryFile::read(child.filePath());
        if (!entry || entry->value(QStringLiteral("Type")) != QLatin1String("Application"))
            continue;
        if (entry->boolean(QStringLiteral("NoDisplay")) || entry->boolean(QStringLiteral("Hidden")))
            continue;
        if (!shownIn(*entry, m_configuration.currentDesktops))
            continue;
        if (entry->has(QStringLiteral("TryExec")) && !tryExecFound(entry->value(QStringLiteral("TryExec"))))
            continue;
        QString name = entry->localizedName(m_configuration.localeNames);
        if (name.isEmpty())
            name = id;
        out.append(DiscoveredApp{id, name, id, child.filePath(), entry->value(QStringLiteral("Icon")).trimmed()});
    }
}

bool AppDiscoveryStore::shownIn(const DesktopEntryFile& entry, const QStringList& currentDesktops)
{
    // The desktop's names are checked in order (XDG_CURRENT_DESKTOP=XFCE:GNOME is Xfce first); the first name
    // either list mentions decides. None mentioned: shown unless the entry is only for other desktops.
    const QStringList only = entry.list(QStringLiteral("OnlyShowIn"));
    const QStringList notIn = entry.list(QStringLiteral("NotShowIn"));
    for (const QString& desktop : currentDesktops) {
        if (only.contains(desktop))
            return true;
        if (notIn.contains(desktop))
            return false;
    }
    return !entry.has(QStringLiteral("OnlyShowIn"));
}

bool AppDiscoveryStore::tryExecFound(const QString& tryExec) const
{
    auto executable = [](const QString& path) {
        const QFileInfo info(path);
        return info.isFile() && info.isExecutable();
    };
    if (tryExec.isEmpty())
        return false;
    if (tryExec.startsWith(QLatin1Char('/')))
        return executable(tryExec);
    if (tryExec.contains(QLatin1Char('/')))
        return false;
    return std::any_of(m_configuration.searchPath.begin(), m_configuration.searchPath.end(),
                       [&](const QString& dir) { return executable(dir + QLatin1Char('/') + tryExec); });
}

void AppDiscoveryStore::sortByName(QList<DiscoveredApp>& apps)
{
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::stable_sort(apps.begin(), apps.end(), [&collator](const DiscoveredApp& a, const DiscoveredApp& b) {
        return collator.compare(a.name, b.name) < 0;
    });
}

}  // namespace tamsinvale
