// Reading, writing and removing the autostart entry, with the Desktop Entry format's quoting.
#include "XdgAutostartEntry.h"

#include <QDir>
#include <QHash>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <algorithm>

#include "platform/linux/ApplicationDesktopEntry.h"

namespace tamsinvale {

namespace {

// The keys of the [Desktop Entry] group; other groups (actions) are skipped.
QHash<QString, QString> mainGroup(const QString& path)
{
    QHash<QString, QString> keys;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return keys;
    bool inMain = false;
    for (const QByteArray& raw : file.readAll().split('\n')) {
        const QString line = QString::fromUtf8(raw).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        if (line.startsWith(QLatin1Char('['))) {
            inMain = line == QLatin1String("[Desktop Entry]");
            continue;
        }
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (inMain && equals > 0)
            keys.insert(line.left(equals).trimmed(), line.mid(equals + 1).trimmed());
    }
    return keys;
}

bool entryStartsAtLogin(const QString& path)
{
    if (!QFileInfo(path).isFile())
        return false;
    const QHash<QString, QString> keys = mainGroup(path);
    return keys.value(QStringLiteral("Hidden")) != QLatin1String("true")
        && keys.value(QStringLiteral("X-GNOME-Autostart-enabled")) != QLatin1String("false");
}

// A value of type string: backslashes and line breaks escaped.
QString escapeString(QString value)
{
    value.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    value.replace(QLatin1Char('\n'), QLatin1String("\\n"));
    value.replace(QLatin1Char('\t'), QLatin1String("\\t"));
    value.replace(QLatin1Char('\r'), QLatin1String("\\r"));
    return value;
}

}  // namespace

XdgAutostartEntry::XdgAutostartEntry(QString userDirectory, QStringList systemDirectories, QString executablePath)
    : m_userDirectory(std::move(userDirectory)),
      m_systemDirectories(std::move(systemDirectories)),
      m_executablePath(std::move(executablePath))
{
}

XdgAutostartEntry XdgAutostartEntry::forSession(const QString& executablePath)
{
    QString configHome = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (configHome.isEmpty() || !QDir::isAbsolutePath(configHome))
        configHome = QDir::homePath() + QStringLiteral("/.config");
    QStringList systemDirectories;
    QString configDirs = qEnvironmentVariable("XDG_CONFIG_DIRS");
    if (configDirs.isEmpty())
        configDirs = QStringLiteral("/etc/xdg");
    for (const QString& dir : configDirs.split(QLatin1Char(':'), Qt::SkipEmptyParts))
        if (QDir::isAbsolutePath(dir))
            systemDirectories << dir + QStringLiteral("/autostart");
    return XdgAutostartEntry(configHome + QStringLiteral("/autostart"), systemDirectories, executablePath);
}

QString XdgAutostartEntry::path() const { return m_userDirectory + QLatin1Char('/') + fileName; }

QString XdgAutostartEntry::systemEntryPath() const
{
    for (const QString& dir : m_systemDirectories) {
        const QString candidate = dir + QLatin1Char('/') + fileName;
        if (QFileInfo(candidate).isFile())
            return candidate;
    }
    return {};
}

LoginItemStatus XdgAutostartEntry::status() const
{
    // The user's entry, when there is one, replaces any system entry of the same name.
    const QString effective = QFileInfo::exists(path()) ? path() : systemEntryPath();
    return !effective.isEmpty() && entryStartsAtLogin(effective) ? LoginItemStatus::enabled
                                                                 : LoginItemStatus::notRegistered;
}

LoginItemChange XdgAutostartEntry::registerApp() { return write(false); }

LoginItemChange XdgAutostartEntry::unregisterApp()
{
    const QString system = systemEntryPath();
    if (!system.isEmpty() && entryStartsAtLogin(system))
        return write(true);
    QFile file(path());
    if (file.exists() && !file.remove())
        return {false, QStringLiteral("could not remove %1: %2").arg(path(), file.errorString())};
    return {};
}

LoginItemChange XdgAutostartEntry::write(bool hidden)
{
    if (!QDir().mkpath(m_userDirectory))
        return {false, QStringLiteral("could not create the folder %1").arg(m_userDirectory)};
    QSaveFile file(path());
    if (!file.open(QIODevice::WriteOnly))
        return {false, QStringLiteral("could not write %1: %2").arg(path(), file.errorString())};
    file.write(entryText(m_executablePath, hidden).toUtf8());
    if (!file.commit())
        return {false, QStringLiteral("could not write %1: %2").arg(path(), file.errorString())};
    return {};
}

QString XdgAutostartEntry::execArgument(const QString& argument)
{
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    QString quoted = argument;
    quoted.replace(QLatin1Char('%'), QLatin1String("%%"));  // a lone % would start a field code
    const bool needsQuotes =
        std::any_of(quoted.cbegin(), quoted.cend(), [](QChar c) { return reserved.contains(c); });
    if (needsQuotes) {
        QString inner;
        for (const QChar c : quoted) {
            if (c == QLatin1Char('"') || c == QLatin1Char('`') || c == QLatin1Char('$') || c == QLatin1Char('\\'))
                inner += QLatin1Char('\\');
            inner += c;
        }
        quoted = QLatin1Char('"') + inner + QLatin1Char('"');
    }
    // The Exec key is also a string value, whose own escaping comes on top.
    return escapeString(quoted);
}

QString XdgAutostartEntry::entryText(const QString& executablePath, bool hidden)
{
    // The installed desktop entry's main group (name, comment, icon …), started by this binary's full path. Its
    // actions are not copied: they are for launchers, and an autostart entry only starts the program.
    static const QStringList ownKeys{QStringLiteral("Exec"), QStringLiteral("TryExec"), QStringLiteral("Hidden"),
                                     QStringLiteral("X-GNOME-Autostart-enabled"), QStringLiteral("Actions"),
                                     QStringLiteral("DBusActivatable")};
    QString text = QStringLiteral("[Desktop Entry]\n");
    bool inMain = false;
    for (const QString& raw : QString::fromUtf8(applicationDesktopEntry).split(QLatin1Char('\n'))) {
        const QString line = raw.trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inMain = line == QLatin1String("[Desktop Entry]");
            continue;
        }
        if (!inMain || line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        if (!ownKeys.contains(line.section(QLatin1Char('='), 0, 0).trimmed()))
            text += line + QLatin1Char('\n');
    }
    text += QStringLiteral("Exec=") + execArgument(executablePath) + QLatin1Char('\n');
    // A binary that has been removed since makes the entry inert instead of a failed start at every login.
    text += QStringLiteral("TryExec=") + escapeString(executablePath) + QLatin1Char('\n');
    text += hidden ? QStringLiteral("Hidden=true\n") : QStringLiteral("X-GNOME-Autostart-enabled=true\n");
    return text;
}

}  // namespace tamsinvale
