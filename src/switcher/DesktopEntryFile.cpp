// Desktop Entry parsing: the main group only, with the value escapes of the Desktop Entry format.
#include "DesktopEntryFile.h"

#include <QFile>
#include <QFileInfo>

#include "platform/LocaleNames.h"

namespace tamsinvale {

namespace {

QString unescape(const QString& raw)
{
    QString out;
    out.reserve(raw.size());
    for (qsizetype i = 0; i < raw.size(); ++i) {
        const QChar c = raw[i];
        if (c != QLatin1Char('\\') || i + 1 == raw.size()) {
            out.append(c);
            continue;
        }
        const QChar n = raw[++i];
        switch (n.unicode()) {
        case 's': out.append(QLatin1Char(' ')); break;
        case 'n': out.append(QLatin1Char('\n')); break;
        case 't': out.append(QLatin1Char('\t')); break;
        case 'r': out.append(QLatin1Char('\r')); break;
        case '\\': out.append(QLatin1Char('\\')); break;
        default:
            // "\;" must survive until the list is split.
            out.append(QLatin1Char('\\'));
            out.append(n);
        }
    }
    return out;
}

}  // namespace

std::optional<DesktopEntryFile> DesktopEntryFile::read(const QString& path)
{
    QFile file(path);
    if (QFileInfo(path).size() > maxSize || !file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return parse(file.read(maxSize));
}

DesktopEntryFile DesktopEntryFile::parse(const QByteArray& bytes)
{
    DesktopEntryFile entry;
    bool inMain = false;
    bool seenMain = false;
    for (const QByteArray& rawLine : bytes.split('\n')) {
        const QString line = QString::fromUtf8(rawLine).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        if (line.startsWith(QLatin1Char('['))) {
            // Only the first [Desktop Entry] group counts; actions and later duplicates do not.
            inMain = !seenMain && line == QLatin1String("[Desktop Entry]");
            seenMain = seenMain || inMain;
            continue;
        }
        if (!inMain)
            continue;
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (eq <= 0)
            continue;
        const QString key = line.left(eq).trimmed();
        if (!entry.m_values.contains(key))
            entry.m_values.insert(key, unescape(line.mid(eq + 1).trimmed()));
    }
    return entry;
}

QStringList DesktopEntryFile::list(const QString& key) const
{
    QStringList out;
    QString current;
    const QString raw = m_values.value(key);
    for (qsizetype i = 0; i < raw.size(); ++i) {
        if (raw[i] == QLatin1Char('\\') && i + 1 < raw.size() && raw[i + 1] == QLatin1Char(';')) {
            current.append(QLatin1Char(';'));
            ++i;
        } else if (raw[i] == QLatin1Char(';')) {
            if (!current.isEmpty())
                out.append(current);
            current.clear();
        } else {
            current.append(raw[i]);
        }
    }
    if (!current.isEmpty())
        out.append(current);
    return out;
}

QString DesktopEntryFile::localizedName(const QStringList& localeNames) const
{
    for (const QString& locale : localeNames) {
        const QString v = m_values.value(QStringLiteral("Name[%1]").arg(locale));
        if (!v.isEmpty())
            return v;
    }
    return m_values.value(QStringLiteral("Name"));
}

QStringList DesktopEntryFile::currentLocaleNames() { return currentMessageLocaleNames(); }

}  // namespace tamsinvale
