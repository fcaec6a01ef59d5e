// The installed applications: a scan of application folders (bundles or desktop entries), refreshed off the main thread.
#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QStringList>
#include <functional>
#include <memory>

#include "AppIconStore.h"
#include "AppInfoReader.h"
#include "DiscoveredApp.h"

namespace tamsinvale {

class DesktopEntryFile;

class Scheduler;
class BackgroundQueue;

// Where and how to look. Bundles: .app folders at depth one and two under each root. Desktop entries: .desktop
// files anywhere under each applications directory, ids by the Desktop Entry sub-directory rule.
struct DiscoveryConfiguration {
    enum class Layout { bundles, desktopEntries };
    Layout layout = Layout::desktopEntries;
    QStringList roots;                  // in precedence order: the first entry for an id wins
    PropertyListReader plistReader;     // bundles: Info.plist, XML or binary
    QStringList currentDesktops;        // desktop entries: XDG_CURRENT_DESKTOP, for OnlyShowIn/NotShowIn
    QStringList localeNames;            // desktop entries: for Name[…]
    QStringList searchPath;             // desktop entries: where a relative TryExec is looked for

    // /Applications, ~/Applications, /System/Applications.
    static DiscoveryConfiguration bundles(const QString& homePath, PropertyListReader reader);
    // $XDG_DATA_HOME/applications then each $XDG_DATA_DIRS/applications, and the session's desktop, locale, PATH.
    static DiscoveryConfiguration freedesktopFromEnvironment();
};

class AppDiscoveryStore : public QObject {
    Q_OBJECT
public:
    AppDiscoveryStore(DiscoveryConfiguration configuration, BackgroundQueue& background, QObject* parent = nullptr);
    ~AppDiscoveryStore() override;

    // The instance the app installed (null before); the switcher, quick dim and inactive apps share it.
    static AppDiscoveryStore* shared();
    static void setShared(AppDiscoveryStore* store);

    const QList<DiscoveredApp>& apps() const { return m_apps; }
    bool refreshInFlight() const { return m_refreshInFlight; }
    // Whether a scan has finished since start (its result may have been empty).
    bool hasScanned() const { return m_published; }
    const DiscoveryConfiguration& configuration() const { return m_configuration; }

    // Icons of the discovered apps are loaded by each refresh, before it publishes, so that lists show them at once.
    void setIconStore(AppIconStore* icons);
    // With a scheduler, a refresh that changed something publishes when the main loop is idle (at most 0.1 s
    // late) instead of as soon as its scan is done.
    void setScheduler(Scheduler* scheduler) { m_scheduler = scheduler; }

    // Starts a background scan unless one is running; the result replaces `apps` on the main thread, unless it
    // equals them, in which case nothing is published.
    void refreshInBackground();

    // The synchronous scan, safe on any thread.
    QList<DiscoveredApp> scan() const;
    // Bundles directly inside one folder, in listing order.
    QList<DiscoveredApp> scanFolder(const QString& folder) const;
    // Desktop entries under one applications directory, in listing order; `seen` holds ids already decided.
    QList<DiscoveredApp> scanDesktopEntries(const QString& root, QSet<QString>& seen) const;

    // Sorted by name, locale-aware and case-insensitive; stable for equal names.
    static void sortByName(QList<DiscoveredApp>& apps);
    // Whether an entry's OnlyShowIn/NotShowIn let it show on a desktop with these names (XDG_CURRENT_DESKTOP).
    static bool shownIn(const DesktopEntryFile& entry, const QStringList& currentDesktops);

signals:
    void appsChanged();
    // Every finished refresh, after it published what it changed (apps or icons; `changed` false: nothing).
    void refreshFinished(bool changed);

private:
    struct RefreshOutcome {
        QList<DiscoveredApp> apps;
        bool unchanged = false;
        QSet<QString> changedIcons;
        qint64 elapsed = 0;
        bool changed() const { return !unchanged || !changedIcons.isEmpty(); }
    };
    static constexpr double publicationLatestSeconds = 0.1;
    void publish(RefreshOutcome& outcome, QPointer<AppIconStore> icons, const AppIconStore::Preparer& prepareIcons,
                 bool iconsAfterwards);
    void scanDesktopDirectory(const QString& dir, const QString& idPrefix, int depth, QSet<QString>& seen,
                              QList<DiscoveredApp>& out) const;
    bool tryExecFound(const QString& tryExec) const;

    DiscoveryConfiguration m_configuration;
    BackgroundQueue& m_background;
    QList<DiscoveredApp> m_apps;
    bool m_refreshInFlight = false;
    bool m_published = false;  // a scan has finished (its result may have been empty)
    QPointer<AppIconStore> m_icons;
    Scheduler* m_scheduler = nullptr;
    // Workers hold this weakly: a store that has gone away makes their result go nowhere.
    std::shared_ptr<AppDiscoveryStore*> m_self;
};

}  // namespace tamsinvale
