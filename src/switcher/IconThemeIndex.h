// Named icons the way freedesktop desktops find them: the current icon theme and the themes it inherits, then
// hicolor, then the loose pictures in the base folders (pixmaps). The folders are listed once into memory and
// listed again only when one of them changes, so a lookup costs a few hash probes instead of hundreds of stats.
#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <mutex>

namespace tamsinvale {

class IconThemeIndex {
public:
    // `baseDirs` in lookup order (~/.icons, each data dir's icons, /usr/share/pixmaps); `themeName` is the theme
    // the user chose, empty or "hicolor" for none.
    IconThemeIndex(QStringList baseDirs, QString themeName);

    // The picture for an icon name at `size` pixels: an exact size in the nearest theme, else the closest size in
    // that theme, else the next theme; empty when nothing is installed. Answers from the folders as they were
    // listed (first use, or the last `rescan`). Thread-safe.
    QString find(const QString& iconName, int size);
    // Lists the folders again if anything was installed or removed since (one stat per folder otherwise).
    void rescan();
    // How many times the folders were listed; a second lookup with nothing changed lists nothing.
    int buildCount() const;

    const QString& themeName() const { return m_themeName; }

private:
    enum class DirType { fixed, scalable, threshold };
    struct SubDir {
        QString path;  // relative to the theme folder
        int size = 0;
        int scale = 1;
        int minSize = 0;
        int maxSize = 0;
        int threshold = 2;
        DirType type = DirType::threshold;

        bool matches(int iconSize) const;
        int distance(int iconSize) const;
    };
    struct Hit {
        int subDir;
        QString file;
    };
    struct Theme {
        QString name;
        QList<SubDir> subDirs;
        QHash<QString, QList<Hit>> icons;  // icon name → files, in lookup order (folder, base, extension)
    };

    void build();
    bool stale() const;
    void noteDirectory(const QString& path);
    void addTheme(const QString& name, QStringList& visiting);
    static QString lookUp(const Theme& theme, const QString& iconName, int size);

    QStringList m_baseDirs;
    QString m_themeName;
    mutable std::mutex m_lock;
    QList<Theme> m_themes;                       // the chosen theme, its parents depth first, hicolor last
    QHash<QString, QString> m_fallback;          // loose pictures in the base folders: name → file
    QHash<QString, qint64> m_watched;            // every folder listed or looked into → its modification time
    qint64 m_builtAt = 0;                        // when the folders were listed, on the file-system clock
    bool m_built = false;
    int m_buildCount = 0;
};

}  // namespace tamsinvale
