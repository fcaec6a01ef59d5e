// JSON coding and key normalisation of custom shortcuts.
#include "AppShortcut.h"

#include <QJsonDocument>
#include <QTextBoundaryFinder>

namespace tamsinvale {

namespace {

bool optionalString(const QJsonObject& o, const char* key, std::optional<QString>& out)
{
    const QJsonValue v = o.value(QLatin1String(key));
    if (v.isUndefined() || v.isNull())
        return true;
    if (!v.isString())
        return false;
    out = v.toString();
    return true;
}

}  // namespace

QJsonObject AppShortcut::toJson() const
{
    QJsonObject o;
    o.insert(QStringLiteral("id"), idText());
    o.insert(QStringLiteral("name"), name);
    if (bundleIdentifier)
        o.insert(QStringLiteral("bundleIdentifier"), *bundleIdentifier);
    o.insert(QStringLiteral("appBookmarkData"), QString::fromLatin1(appBookmarkData.toBase64()));
    if (key)
        o.insert(QStringLiteral("key"), *key);
    if (secondKey)
        o.insert(QStringLiteral("secondKey"), *secondKey);
    return o;
}

std::optional<AppShortcut> AppShortcut::fromJson(const QJsonObject& o)
{
    const QJsonValue id = o.value(QLatin1String("id"));
    const QJsonValue name = o.value(QLatin1String("name"));
    const QJsonValue bookmark = o.value(QLatin1String("appBookmarkData"));
    if (!id.isString() || !name.isString() || !bookmark.isString())
        return std::nullopt;
    AppShortcut s;
    s.id = QUuid::fromString(id.toString());
    if (s.id.isNull())
        return std::nullopt;
    s.name = name.toString();
    const auto decoded = QByteArray::fromBase64Encoding(bookmark.toString().toLatin1(),
                                                        QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return std::nullopt;
    s.appBookmarkData = *decoded;
    if (!optionalString(o, "bundleIdentifier", s.bundleIdentifier) || !optionalString(o, "key", s.key)
        || !optionalString(o, "secondKey", s.secondKey))
        return std::nullopt;
    return s;
}

QByteArray AppShortcut::encodeList(const QList<AppShortcut>& shortcuts)
{
    QJsonArray array;
    for (const AppShortcut& s : shortcuts)
        array.append(s.toJson());
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

std::optional<QList<AppShortcut>> AppShortcut::decodeList(const QByteArray& json)
{
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !doc.isArray())
        return std::nullopt;
    QList<AppShortcut> out;
    for (const QJsonValue& v : doc.array()) {
        if (!v.isObject())
            return std::nullopt;
        auto s = fromJson(v.toObject());
        if (!s)
            return std::nullopt;
        out.append(*s);
    }
    return out;
}

std::optional<QString> AppShortcut::normalizeKey(const QString& raw)
{
    const QString text = raw.trimmed().toLower();
    if (text.isEmpty())
        return std::nullopt;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    const qsizetype end = finder.toNextBoundary();
    return text.left(end > 0 ? end : text.size());
}

}  // namespace tamsinvale
