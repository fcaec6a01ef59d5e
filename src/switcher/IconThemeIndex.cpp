// Icon theme folders read into memory: index.theme parsing, the size rules of the folders, and the lookup order.
#include "IconThemeIndex.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <system_error>

namespace tamsinvale {

namespace {

const QStringList pictureExtensions = {QStringLiteral(".png"), QStringLiteral(".svg"), QStringLiteral(".xpm")};
const QString hicolor = QStringLiteral("hicolor");
constexpr qint64 absent = -1;

// Modification time in nanoseconds, or `absent`.
qint64 modifiedAt(const QString& path)
{
    std::error_code error;
    const auto time = std::filesystem::last_write_time(path.toStdString(), error);
    if (error)
        return absent;
    return qint64(std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count());
}

// The groups of an index.theme file: group → key → value. Small and line-based, like desktop entries.
QHash<QString, QHash<QString, QString>> readIndexTheme(const QString& path)
{
    QHash<QString, QHash<QString, QString>> groups;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return groups;
    QString group;
    for (const QByteArray& raw : file.readAll().split('\n')) {
        const QString line = QString::fromUtf8(raw).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        if (line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']'))) {
            group = line.mid(1, line.size() - 2);
            continue;
        }
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (eq > 0 && !group.isEmpty())
            groups[group].insert(line.left(eq).trimmed(), line.mid(eq + 1).trimmed());
    }
    return groups;
}

QStringList commaList(const QString& value)
{
    QStringList out;
    for (const QString& part : value.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QString trimmed = part.trimmed();
        if (!trimmed.isEmpty())
            out.append(trimmed);
    }
    return out;
}

int intValue(const QHash<QString, QString>& group, const char* key, int fallback)
{
    bool ok = false;
    const int value = group.value(QLatin1String(key)).toInt(&ok);
    return ok ? value : fallback;
}

}  // namespace

bool IconThemeIndex::SubDir::matches(int iconSize) const
{
    if (scale != 1)
        return false;
    switch (type) {
    case DirType::fixed: return size == iconSize;
    case DirType::scalable: return minSize <= iconSize && iconSize <= maxSize;
    case DirType::threshold: return size - threshold <= iconSize && iconSize <= size + threshold;
    }
    return false;
}

int IconThemeIndex::SubDir::distance(int iconSize) const
{
    switch (type) {
    case DirType::fixed: return std::abs(size * scale - iconSize);
    case DirType::scalable:
        if (iconSize < minSize * scale)
            return minSize * scale - iconSize;
        if (iconSize > maxSize * scale)
            return iconSize - maxSize * scale;
        return 0;
    case DirType::threshold:
        if (iconSize < (size - threshold) * scale)
            return minSize * scale - iconSize;
        if (iconSize > (size + threshold) * scale)
            return iconSize - maxSize * scale;
        return 0;
    }
    return 0;
}

IconThemeIndex::IconThemeIndex(QStringList baseDirs, QString themeName)
    : m_baseDirs(std::move(baseDirs)), m_themeName(themeName.isEmpty() ? hicolor : std::move(themeName))
{
}

int IconThemeIndex::buildCount() const
{
    std::lock_guard guard(m_lock);
    return m_buildCount;
}

QString IconThemeIndex::find(const QString& iconName, int size)
{
    if (iconName.isEmpty() || iconName.contains(QLatin1Char('/')))
        return {};
    std::lock_guard guard(m_lock);
    if (!m_built)
        build();
    for (const Theme& theme : std::as_const(m_themes)) {
        const QString file = lookUp(theme, iconName, size);
        if (!file.isEmpty())
            return file;
    }
    return m_fallback.value(iconName);
}

QString IconThemeIndex::lookUp(const Theme& theme, const QString& iconName, int size)
{
    const auto it = theme.icons.constFind(iconName);
    if (it == theme.icons.cend())
        return {};
    for (const Hit& hit : *it) {
        if (theme.subDirs[hit.subDir].matches(size))
            return hit.file;
    }
    // No folder of the right size: the closest one, the first of equals.
    const Hit* closest = nullptr;
    int best = std::numeric_limits<int>::max();
    for (const Hit& hit : *it) {
        const int d = theme.subDirs[hit.subDir].distance(size);
        if (d < best) {
            best = d;
            closest = &hit;
        }
    }
    return closest ? closest->file : QString();
}

void IconThemeIndex::rescan()
{
    std::lock_guard guard(m_lock);
    if (m_built && !stale())
        return;
    build();
}

bool IconThemeIndex::stale() const
{
    // A folder changed within the clock's granularity of the listing could change again without its time
    // moving: such folders are listed once more, until the listing is older than anything in them.
    constexpr qint64 racyNs = 2'000'000'000;
    for (auto it = m_watched.cbegin(); it != m_watched.cend(); ++it) {
        if (modifiedAt(it.key()) != it.value() || (it.value() != absent && it.value() > m_builtAt - racyNs))
            return true;
    }
    return false;
}

void IconThemeIndex::noteDirectory(const QString& path)
{
    if (!m_watched.contains(path))
        m_watched.insert(path, modifiedAt(path));
}

void IconThemeIndex::build()
{
    m_builtAt = qint64(std::chrono::duration_cast<std::chrono::nanoseconds>(
                           std::filesystem::file_time_type::clock::now().time_since_epoch())
                           .count());
    m_themes.clear();
    m_fallback.clear();
    m_watched.clear();
    QStringList visiting;
    addTheme(m_themeName, visiting);
    if (!visiting.contains(hicolor))
        addTheme(hicolor, visiting);

    // Loose pictures directly in the base folders, the first base and extension winning.
    for (const QString& base : std::as_const(m_baseDirs)) {
        noteDirectory(base);
        const QStringList files = QDir(base).entryList(QDir::Files | QDir::NoDotAndDotDot, QDir::Name);
        for (const QString& extension : pictureExtensions) {
            for (const QString& file : files) {
                if (!file.endsWith(extension))
                    continue;
                const QString name = file.left(file.size() - extension.size());
                if (!m_fallback.contains(name))
                    m_fallback.insert(name, base + QLatin1Char('/') + file);
            }
        }
    }
    m_built = true;
    ++m_buildCount;
}

void IconThemeIndex::addTheme(const QString& name, QStringList& visiting)
{
    if (name.isEmpty() || visiting.contains(name))
        return;
    visiting.append(name);
    // The first base folder that has the theme's index.theme describes it.
    QHash<QString, QHash<QString, QString>> description;
    for (const QString& base : std::as_const(m_baseDirs)) {
        const QString themeDir = base + QLatin1Char('/') + name;
        noteDirectory(themeDir);
        if (description.isEmpty() && QFile::exists(themeDir + QStringLiteral("/index.theme"))) {
            m_watched.insert(themeDir + QStringLiteral("/index.theme"), modifiedAt(themeDir + QStringLiteral("/index.theme")));
            description = readIndexTheme(themeDir + QStringLiteral("/index.theme"));
        }
    }
    if (description.isEmpty())
        return;
    const QHash<QString, QString> header = description.value(QStringLiteral("Icon Theme"));
    Theme theme;
    theme.name = name;
    QStringList dirs = commaList(header.value(QStringLiteral("Directories")));
    dirs += commaList(header.value(QStringLiteral("ScaledDirectories")));
    dirs.removeDuplicates();
    for (const QString& dir : std::as_const(dirs)) {
        const QHash<QString, QString> group = description.value(dir);
        SubDir sub;
        sub.path = dir;
        sub.size = intValue(group, "Size", 0);
        if (sub.size <= 0)
            continue;
        sub.scale = intValue(group, "Scale", 1);
        sub.minSize = intValue(group, "MinSize", sub.size);
        sub.maxSize = intValue(group, "MaxSize", sub.size);
        sub.threshold = intValue(group, "Threshold", 2);
        const QString type = group.value(QStringLiteral("Type"));
        sub.type = type == QLatin1String("Fixed")      ? DirType::fixed
            : type == QLatin1String("Scalable")        ? DirType::scalable
                                                       : DirType::threshold;
        theme.subDirs.append(sub);
    }
    for (int index = 0; index < theme.subDirs.size(); ++index) {
        const QString& sub = theme.subDirs[index].path;
        for (const QString& base : std::as_const(m_baseDirs)) {
            const QString themeDir = base + QLatin1Char('/') + name;
            // Every existing folder on the way is watched: a new icon or folder changes one of them.
            QString path = themeDir;
            bool exists = QFileInfo::exists(themeDir);
            for (const QString& part : sub.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
                if (!exists)
                    break;
                path += QLatin1Char('/') + part;
                exists = m_watched.contains(path) ? m_watched.value(path) != absent : QFileInfo(path).isDir();
                if (exists)
                    noteDirectory(path);
            }
            if (!exists)
                continue;
            const QStringList files = QDir(path).entryList(QDir::Files | QDir::NoDotAndDotDot, QDir::Name);
            for (const QString& extension : pictureExtensions) {
                for (const QString& file : files) {
                    if (file.endsWith(extension))
                        theme.icons[file.left(file.size() - extension.size())].append(
                            Hit{index, path + QLatin1Char('/') + file});
                }
            }
        }
    }
    m_themes.append(theme);
    // Parents are looked at before any theme later in the chain; hicolor comes after everything.
    for (const QString& parent : commaList(header.value(QStringLiteral("Inherits")))) {
        if (parent != hicolor)
            addTheme(parent, visiting);
    }
}

}  // namespace tamsinvale
