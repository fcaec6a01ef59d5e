// The [Desktop Entry] group of one .desktop file, read defensively (bounded size, unknown keys ignored).
#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <optional>

namespace tamsinvale {

class DesktopEntryFile {
public:
    // Desktop files are small; a larger file is not one we parse.
    static constexpr qint64 maxSize = 256 * 1024;

    static std::optional<DesktopEntryFile> read(const QString& path);
    static DesktopEntryFile parse(const QByteArray& bytes);

    QString value(const QString& key) const { return m_values.value(key); }
    bool has(const QString& key) const { return m_values.contains(key); }
    bool boolean(const QString& key) const { return m_values.value(key).trimmed() == QLatin1String("true"); }
    // A string-list value ("a;b;c;"), escapes "\;" kept as ';'.
    QStringList list(const QString& key) const;
    // The best Name for the locale names in order of preference ("de_DE", "de"), else the plain Name.
    QString localizedName(const QStringList& localeNames) const;

    // The user's message languages as Desktop Entry locale names, in gettext's order (LANGUAGE's list, else the
    // first of LC_ALL, LC_MESSAGES and LANG), each most specific first.
    static QStringList currentLocaleNames();

private:
    QHash<QString, QString> m_values;
};

}  // namespace tamsinvale
