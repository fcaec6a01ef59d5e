// Reads the [Desktop Entry] groups that matter for matching windows to applications.
#include "DesktopEntryIndex.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>

#include "platform/LocaleNames.h"

namespace tamsinvale {

namespace {

// Desktop files are small; anything larger is not one we want to parse.
constexpr qint64 maxDesktopFileSize = 256 * 1024;

QStringList localeKeys()
{
    QStringList out;
    for (const QString& locale : currentMessageLocaleNames())
        out.append(QStringLiteral("Name[%1]").arg(locale));
    return out;
}

QString programOf(const QString& exec)
{
    // The first word of Exec, with its quotes removed; environment assignments via env(1) are skipped.
    QStringList words;
    QString current;
    bool quoted = false;
    for (const QChar ch : exec) {
        if (ch == QLatin1Char('"')) {
            quoted = !quoted;
        } else if (ch.isSpace() && !quoted) {
            if (!current.isEmpty())
                words.append(current);
            current.clear();
        } else {
            current.append(ch);
        }
    }
    if (!current.isEmpty())
        words.append(current);
    qsizetype i = 0;
    if (i < words.size() && QFileInfo(words[i]).fileName() == QLatin1String("env")) {
        ++i;
        while (i < words.size() && words[i].contains(QLatin1Char('=')))
            ++i;
    }
    return i < words.size() ? QFileInfo(words[i]).fileName() : QString();
}

}  // namespace

QStringList DesktopEntryIndex::standardApplicationDirs()
{
    QStringList out;
    QString home = qEnvironmentVariable("XDG_DATA_HOME");
    if (home.isEmpty())
        home = QDir::homePath() + QStringLiteral("/.local/share");
    out.append(home + QStringLiteral("/applications"));
    QString dirs = qEnvironmentVariable("XDG_DATA_DIRS");
    if (dirs.isEmpty())
        dirs = QStringLiteral("/usr/local/share:/usr/share");
    for (const QString& d : dirs.split(QLatin1Char(':'), Qt::SkipEmptyParts))
        out.append(d + QStringLiteral("/applications"));
    return out;
}

DesktopEntryIndex::DesktopEntryIndex(const QStringList& applicationDirs)
{
    for (const QString& dir : applicationDirs)
        load(dir, QString(), 0);
}

void DesktopEntryIndex::load(const QString& dir, const QString& prefix, int depth)
{
    QDir d(dir);
    if (!d.exists() || depth > 4)
        return;
    const QStringList locales = localeKeys();
    for (const QFileInfo& info : d.entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        if (info.isDir()) {
            // Subdirectories become part of the id: applications/kde/foo.desktop is "kde-foo".
            load(info.filePath(), prefix + info.fileName() + QLatin1Char('-'), depth + 1);
            continue;
        }
        if (!info.fileName().endsWith(QLatin1String(".desktop")) || info.size() > maxDesktopFileSize)
            continue;
        const QString id = prefix + info.completeBaseName();
        if (m_byId.contains(id))
            continue;
        QFile file(info.filePath());
        if (!file.open(QIODevice::ReadOnly))
            continue;
        DesktopEntry entry;
        entry.id = id;
        entry.path = info.filePath();
        QString type, exec, plainName, localizedName;
        int localizedRank = 1000;
        bool inMain = false, hidden = false;
        while (!file.atEnd()) {
            const QString line = QString::fromUtf8(file.readLine(8192)).trimmed();
            if (line.startsWith(QLatin1Char('['))) {
                inMain = line == QLatin1String("[Desktop Entry]");
                continue;
            }
            if (!inMain || line.startsWith(QLatin1Char('#')))
                continue;
            const qsizetype eq = line.indexOf(QLatin1Char('='));
            if (eq <= 0)
                continue;
            const QString key = line.left(eq).trimmed();
            const QString value = line.mid(eq + 1).trimmed();
            if (key == QLatin1String("Type")) type = value;
            else if (key == QLatin1String("Exec")) exec = value;
            else if (key == QLatin1String("Name")) plainName = value;
            else if (key == QLatin1String("StartupWMClass")) entry.startupWMClass = value;
            else if (key == QLatin1String("Hidden")) hidden = value == QLatin1String("true");
            else if (const qsizetype rank = locales.indexOf(key); rank >= 0 && rank < localizedRank) {
                localizedName = value;
                localizedRank = static_cast<int>(rank);
            }
        }
        // A Hidden entry deletes the id for the directories after it too.
        if (hidden || type != QLatin1String("Application")) {
            m_byId.insert(id, -1);
            continue;
        }
        entry.name = localizedName.isEmpty() ? plainName : localizedName;
        entry.executable = programOf(exec);
        const qsizetype index = m_entries.size();
        m_entries.append(entry);
        m_byId.insert(id, index);
        m_byLowerId.insert(id.toLower(), index);
        if (!entry.startupWMClass.isEmpty() && !m_byWMClass.contains(entry.startupWMClass.toLower()))
            m_byWMClass.insert(entry.startupWMClass.toLower(), index);
        if (!entry.executable.isEmpty() && !m_byExecutable.contains(entry.executable))
            m_byExecutable.insert(entry.executable, index);
    }
}

const DesktopEntry* DesktopEntryIndex::byId(const QString& id) const
{
    const qsizetype i = m_byId.value(id, -1);
    return i >= 0 ? &m_entries[i] : nullptr;
}

const DesktopEntry* DesktopEntryIndex::match(const QString& gtkApplicationId, const QString& wmInstance,
                                             const QString& wmClass, const QString& executable) const
{
    auto at = [this](const QHash<QString, qsizetype>& map, const QString& key) -> const DesktopEntry* {
        if (key.isEmpty())
            return nullptr;
        const qsizetype i = map.value(key, -1);
        return i >= 0 ? &m_entries[i] : nullptr;
    };
    if (const DesktopEntry* e = at(m_byId, gtkApplicationId))
        return e;
    if (const DesktopEntry* e = at(m_byWMClass, wmClass.toLower()))
        return e;
    if (const DesktopEntry* e = at(m_byWMClass, wmInstance.toLower()))
        return e;
    if (const DesktopEntry* e = at(m_byLowerId, wmClass.toLower()))
        return e;
    if (const DesktopEntry* e = at(m_byLowerId, wmInstance.toLower()))
        return e;
    return at(m_byExecutable, executable);
}

}  // namespace tamsinvale
