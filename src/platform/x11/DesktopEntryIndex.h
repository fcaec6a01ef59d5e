// Desktop Entry files of the installed applications, indexed the ways a running window can be matched to one.
#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

namespace tamsinvale {

struct DesktopEntry {
    QString id;             // desktop-file id without ".desktop" ("org.gnome.Calculator", "debian-xterm")
    QString path;
    QString name;           // localized Name
    QString startupWMClass;
    QString executable;     // base name of Exec's program
};

class DesktopEntryIndex {
public:
    // Earlier directories win for the same id, as XDG lookups do.
    explicit DesktopEntryIndex(const QStringList& applicationDirs = standardApplicationDirs());

    // $XDG_DATA_HOME/applications, then each of $XDG_DATA_DIRS/applications.
    static QStringList standardApplicationDirs();

    const DesktopEntry* byId(const QString& id) const;
    // The best entry for a window: its GTK application id, then WM_CLASS against StartupWMClass (then against
    // the id), then the process's executable against Exec. Null when nothing matches.
    const DesktopEntry* match(const QString& gtkApplicationId, const QString& wmInstance, const QString& wmClass,
                              const QString& executable) const;

    qsizetype size() const { return m_entries.size(); }

private:
    void load(const QString& dir, const QString& prefix, int depth);

    QList<DesktopEntry> m_entries;
    QHash<QString, qsizetype> m_byId;
    QHash<QString, qsizetype> m_byWMClass;        // lower-cased StartupWMClass
    QHash<QString, qsizetype> m_byLowerId;
    QHash<QString, qsizetype> m_byExecutable;
};

}  // namespace tamsinvale
