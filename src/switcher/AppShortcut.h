// One custom shortcut: one or two keys bound to an application or script the user chose, with its JSON form.
#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>
#include <optional>

namespace tamsinvale {

struct AppShortcut {
    QUuid id;
    QString name;
    std::optional<QString> bundleIdentifier;
    QByteArray appBookmarkData;
    std::optional<QString> key;
    std::optional<QString> secondKey;

    bool operator==(const AppShortcut&) const = default;

    // The shortcut's id as stored and as an icon key: canonical upper-case text without braces.
    QString idText() const { return idString(id); }
    static QString idString(const QUuid& id) { return id.toString(QUuid::WithoutBraces).toUpper(); }

    QJsonObject toJson() const;
    // Nothing when a required field is missing or of the wrong type.
    static std::optional<AppShortcut> fromJson(const QJsonObject& object);
    static QByteArray encodeList(const QList<AppShortcut>& shortcuts);
    // Nothing when the bytes are not a JSON array of shortcuts; one bad element spoils the whole list.
    static std::optional<QList<AppShortcut>> decodeList(const QByteArray& json);

    // Trimmed, lower-cased, first whole grapheme; nothing for an empty result.
    static std::optional<QString> normalizeKey(const QString& raw);
    static std::optional<QString> normalizeKey(const std::optional<QString>& raw)
    {
        return raw ? normalizeKey(*raw) : std::nullopt;
    }
};

}  // namespace tamsinvale
