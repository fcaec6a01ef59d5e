// JSON form of window size presets, including the older single-field form, and the default list.
#include "WindowSizePreset.h"

#include <QJsonDocument>
#include <QRegularExpression>

namespace tamsinvale {

QString uuidText(const QUuid& id) { return id.toString(QUuid::WithoutBraces).toUpper(); }

const WindowSizePreset& WindowSizePreset::full()
{
    static const WindowSizePreset preset{QUuid(QStringLiteral("6B1A2F3C-0000-4000-8000-A11F00000001")),
                                         QStringLiteral("Full"), QStringLiteral("full"), QStringLiteral("full"),
                                         std::nullopt};
    return preset;
}

WindowSizePreset WindowSizePreset::makeNew()
{
    return {QUuid::createUuid(), QStringLiteral("New Size"), QStringLiteral(".8"), QStringLiteral(".8"),
            std::nullopt};
}

QJsonObject WindowSizePreset::toJson() const
{
    QJsonObject o{{QStringLiteral("id"), uuidText(id)},
                  {QStringLiteral("name"), name},
                  {QStringLiteral("width"), width},
                  {QStringLiteral("height"), height}};
    if (hotKey)
        o.insert(QStringLiteral("hotKey"), hotKey->toJson());
    return o;
}

namespace {
// Trims spaces and tabs only, as the older form was written by hand with those.
QString trimBlanks(const QString& s)
{
    qsizetype start = 0;
    qsizetype end = s.size();
    while (start < end && (s[start] == QLatin1Char(' ') || s[start] == QLatin1Char('\t')))
        ++start;
    while (end > start && (s[end - 1] == QLatin1Char(' ') || s[end - 1] == QLatin1Char('\t')))
        --end;
    return s.mid(start, end - start);
}

// A present key must hold a string; absent (or null) is fine.
bool optionalString(const QJsonObject& o, const QString& key, std::optional<QString>* out)
{
    const QJsonValue v = o.value(key);
    if (v.isUndefined() || v.isNull()) {
        *out = std::nullopt;
        return true;
    }
    if (!v.isString())
        return false;
    *out = v.toString();
    return true;
}
}  // namespace

std::optional<WindowSizePreset> WindowSizePreset::fromJson(const QJsonValue& value)
{
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject o = value.toObject();

    const QJsonValue idValue = o.value(QStringLiteral("id"));
    const QJsonValue nameValue = o.value(QStringLiteral("name"));
    if (!idValue.isString() || !nameValue.isString())
        return std::nullopt;
    const QUuid id(idValue.toString());
    if (id.isNull() && idValue.toString() != QLatin1String("00000000-0000-0000-0000-000000000000"))
        return std::nullopt;

    WindowSizePreset preset;
    preset.id = id;
    preset.name = nameValue.toString();

    const QJsonValue hotKeyValue = o.value(QStringLiteral("hotKey"));
    if (!hotKeyValue.isUndefined() && !hotKeyValue.isNull()) {
        preset.hotKey = HotKeyConfig::fromJson(hotKeyValue);
        if (!preset.hotKey)
            return std::nullopt;
    }

    std::optional<QString> width;
    std::optional<QString> height;
    if (!optionalString(o, QStringLiteral("width"), &width))
        return std::nullopt;
    if (width && !optionalString(o, QStringLiteral("height"), &height))
        return std::nullopt;
    if (width && height) {
        preset.width = *width;
        preset.height = *height;
        return preset;
    }

    // Older form: one size text such as "1440x900" or "full".
    std::optional<QString> sizeText;
    if (!optionalString(o, QStringLiteral("spec"), &sizeText))
        return std::nullopt;
    const QString text = sizeText.value_or(QStringLiteral("full"));
    static const QRegularExpression separators(QStringLiteral("[x×*]"));
    const QStringList pieces = text.toLower().split(separators, Qt::SkipEmptyParts);
    if (pieces.size() == 2) {
        preset.width = trimBlanks(pieces[0]);
        preset.height = trimBlanks(pieces[1]);
    } else {
        preset.width = text;
        preset.height = text;
    }
    return preset;
}

QJsonArray WindowSizePreset::listToJson(const QList<WindowSizePreset>& presets)
{
    QJsonArray array;
    for (const WindowSizePreset& p : presets)
        array.append(p.toJson());
    return array;
}

QByteArray WindowSizePreset::listToJsonData(const QList<WindowSizePreset>& presets)
{
    return QJsonDocument(listToJson(presets)).toJson(QJsonDocument::Compact);
}

std::optional<QList<WindowSizePreset>> WindowSizePreset::listFromJson(const QJsonValue& value)
{
    if (!value.isArray())
        return std::nullopt;
    QList<WindowSizePreset> out;
    for (const QJsonValue& item : value.toArray()) {
        auto preset = fromJson(item);
        if (!preset)
            return std::nullopt;
        out.append(*preset);
    }
    return out;
}

std::optional<QList<WindowSizePreset>> WindowSizePreset::listFromJsonData(const QByteArray& data)
{
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !doc.isArray())
        return std::nullopt;
    return listFromJson(doc.array());
}

}  // namespace tamsinvale
