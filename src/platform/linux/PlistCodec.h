// Converts between property lists (XML or binary, through libplist) and typed Qt values.
#pragma once

#include <QByteArray>
#include <QVariantMap>
#include <optional>

namespace tamsinvale {

class PlistCodec {
public:
    // A dictionary root, from XML or binary; nothing when the bytes are not such a property list.
    static std::optional<QVariantMap> parseDictionary(const QByteArray& bytes);
    // Any root value; nothing when unreadable.
    static std::optional<QVariant> parse(const QByteArray& bytes);
    static QByteArray toXml(const QVariantMap& dictionary);
    static QByteArray toBinary(const QVariantMap& dictionary);
    // What a settings file holds: XML, which people can read and edit, unless a string or key has characters
    // XML cannot carry (control characters other than tab and line breaks, which a binary file may hold); then
    // binary, so that nothing is lost.
    static QByteArray forFile(const QVariantMap& dictionary);
    static bool xmlCanHold(const QVariant& value);
};

}  // namespace tamsinvale
