// libplist glue: property list nodes to QVariant (bool, qint64, double, QString, QByteArray, QDateTime, list, map).
#include "PlistCodec.h"

#include <algorithm>
#include <cmath>

#include <QDateTime>
#include <QRegularExpression>
#include <QTimeZone>
#include <limits>
#include <memory>

#include <plist/plist.h>

namespace tamsinvale {

namespace {

struct PlistFree {
    void operator()(plist_t p) const { plist_free(p); }
};
using PlistPtr = std::unique_ptr<void, PlistFree>;

// Property list dates count seconds from 2001-01-01 UTC.
const QDateTime& referenceDate()
{
    static const QDateTime epoch(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);
    return epoch;
}

constexpr int maxDepth = 64;  // deeper nesting is not a defaults file of ours

std::optional<QVariant> toVariant(plist_t node, int depth)
{
    if (!node || depth > maxDepth)
        return std::nullopt;
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t b = 0;
        plist_get_bool_val(node, &b);
        return QVariant(b != 0);
    }
    case PLIST_UINT: {
        uint64_t u = 0;
        plist_get_uint_val(node, &u);
        // Negative integers are kept in two's complement.
        return QVariant::fromValue(static_cast<qint64>(u));
    }
    case PLIST_REAL: {
        double d = 0;
        plist_get_real_val(node, &d);
        return QVariant(d);
    }
    case PLIST_STRING: {
        uint64_t length = 0;
        const char* s = plist_get_string_ptr(node, &length);
        return QVariant(QString::fromUtf8(s ? s : "", s ? static_cast<qsizetype>(length) : 0));
    }
    case PLIST_DATA: {
        uint64_t length = 0;
        const char* data = plist_get_data_ptr(node, &length);
        return QVariant(QByteArray(data ? data : "", static_cast<qsizetype>(data ? length : 0)));
    }
    case PLIST_DATE: {
        int32_t sec = 0;
        int32_t usec = 0;
        plist_get_date_val(node, &sec, &usec);
        // Binary files keep the date as floating-point seconds: 0.821 s comes back as 820999 µs, so round.
        // libplist gives the whole seconds toward zero and the fraction without its sign, so before 2001 the
        // fraction counts back (in the one second before 2001 the sign is lost: it reads as the second after).
        const qint64 fraction = std::llround(std::abs(usec) / 1000.0);
        return QVariant(referenceDate().addMSecs(qint64(sec) * 1000 + (sec < 0 ? -fraction : fraction)));
    }
    case PLIST_ARRAY: {
        QVariantList list;
        const uint32_t n = plist_array_get_size(node);
        for (uint32_t i = 0; i < n; ++i) {
            auto item = toVariant(plist_array_get_item(node, i), depth + 1);
            if (!item)
                return std::nullopt;
            list.append(*item);
        }
        return QVariant(list);
    }
    case PLIST_DICT: {
        QVariantMap map;
        plist_dict_iter it = nullptr;
        plist_dict_new_iter(node, &it);
        for (;;) {
            char* key = nullptr;
            plist_t value = nullptr;
            plist_dict_next_item(node, it, &key, &value);
            if (!value) {
                free(key);
                break;
            }
            auto item = toVariant(value, depth + 1);
            const QString k = QString::fromUtf8(key ? key : "");
            free(key);
            if (!item) {
                free(it);
                return std::nullopt;
            }
            map.insert(k, *item);
        }
        free(it);
        return QVariant(map);
    }
    default:
        return std::nullopt;  // keys, UIDs: not user-defaults values
    }
}

// How a date's fraction of a second goes to the file: an XML date holds whole seconds alone.
enum class DateFraction { kept, dropped };

plist_t fromVariant(const QVariant& v, DateFraction fraction)
{
    const QMetaType type = v.metaType();
    if (type == QMetaType::fromType<bool>())
        return plist_new_bool(v.toBool() ? 1 : 0);
    if (type == QMetaType::fromType<qint64>() || type == QMetaType::fromType<int>()
        || type == QMetaType::fromType<qlonglong>())
        return plist_new_uint(static_cast<uint64_t>(v.toLongLong()));
    if (type == QMetaType::fromType<double>())
        return plist_new_real(v.toDouble());
    if (type == QMetaType::fromType<QString>())
        return plist_new_string(v.toString().toUtf8().constData());
    if (type == QMetaType::fromType<QByteArray>()) {
        const QByteArray b = v.toByteArray();
        return plist_new_data(b.constData(), static_cast<uint64_t>(b.size()));
    }
    if (type == QMetaType::fromType<QDateTime>()) {
        // libplist keeps whole seconds in 32 bits (about 1932 to 2069): a date outside is held at the nearest end
        // rather than wrapped around to the other.
        const qint64 ms = std::clamp(referenceDate().msecsTo(v.toDateTime()),
                                     qint64(std::numeric_limits<int32_t>::min()) * 1000,
                                     qint64(std::numeric_limits<int32_t>::max()) * 1000);
        if (fraction == DateFraction::kept)
            return plist_new_date(static_cast<int32_t>(ms / 1000), static_cast<int32_t>((ms % 1000) * 1000));
        // libplist's XML writer cuts toward 2001, which before it is the second after: the second a date falls
        // in is the one counted down to, as on any clock (23:59:50.750 is 23:59:50 on either side of 2001).
        const qint64 seconds = ms >= 0 ? ms / 1000 : -((-ms + 999) / 1000);
        return plist_new_date(static_cast<int32_t>(seconds), 0);
    }
    if (type == QMetaType::fromType<QVariantList>() || type == QMetaType::fromType<QStringList>()) {
        plist_t array = plist_new_array();
        for (const QVariant& item : v.toList())
            if (plist_t node = fromVariant(item, fraction))
                plist_array_append_item(array, node);
        return array;
    }
    if (type == QMetaType::fromType<QVariantMap>()) {
        plist_t dict = plist_new_dict();
        const QVariantMap map = v.toMap();
        for (auto it = map.begin(); it != map.end(); ++it)
            if (plist_t node = fromVariant(it.value(), fraction))
                plist_dict_set_item(dict, it.key().toUtf8().constData(), node);
        return dict;
    }
    return nullptr;
}

std::uint64_t readBigEndian(const QByteArray& bytes, qsizetype at, int size)
{
    std::uint64_t value = 0;
    for (int i = 0; i < size; ++i)
        value = (value << 8) | static_cast<std::uint8_t>(bytes[at + i]);
    return value;
}

// libplist asserts (and so aborts the process) when it reads a string or key with an embedded NUL, which
// only a hostile or broken file contains. Such files are refused before they reach the parser.
bool binaryHasNulInStrings(const QByteArray& bytes)
{
    constexpr qsizetype headerSize = 8;
    constexpr qsizetype trailerSize = 32;
    const qsizetype size = bytes.size();
    if (size < headerSize + trailerSize)
        return true;
    const qsizetype trailer = size - trailerSize;
    const int offsetSize = static_cast<std::uint8_t>(bytes[trailer + 6]);
    const std::uint64_t objects = readBigEndian(bytes, trailer + 8, 8);
    const std::uint64_t tableOffset = readBigEndian(bytes, trailer + 24, 8);
    if (offsetSize < 1 || offsetSize > 8 || tableOffset > std::uint64_t(trailer)
        || objects > (std::uint64_t(trailer) - tableOffset) / std::uint64_t(offsetSize))
        return true;
    for (std::uint64_t i = 0; i < objects; ++i) {
        const std::uint64_t at = readBigEndian(bytes, qsizetype(tableOffset + i * offsetSize), offsetSize);
        if (at >= std::uint64_t(trailer))
            return true;
        qsizetype cursor = qsizetype(at);
        const std::uint8_t marker = static_cast<std::uint8_t>(bytes[cursor++]);
        const int type = marker >> 4;
        if (type != 0x5 && type != 0x6 && type != 0x7)
            continue;
        std::uint64_t count = marker & 0x0f;
        if (count == 0x0f) {  // the length follows as an integer object
            if (cursor >= trailer)
                return true;
            const std::uint8_t intMarker = static_cast<std::uint8_t>(bytes[cursor++]);
            const int intSize = 1 << (intMarker & 0x0f);
            if ((intMarker >> 4) != 0x1 || intSize > 8 || cursor + intSize > trailer)
                return true;
            count = readBigEndian(bytes, cursor, intSize);
            cursor += intSize;
        }
        const std::uint64_t unit = type == 0x6 ? 2 : 1;
        if (count > std::uint64_t(trailer - cursor) / unit)
            return true;
        for (std::uint64_t k = 0; k < count; ++k) {
            const qsizetype p = cursor + qsizetype(k * unit);
            if (bytes[p] == 0 && (unit == 1 || bytes[p + 1] == 0))
                return true;
        }
    }
    return false;
}

bool xmlHasNul(const QByteArray& bytes)
{
    static const QRegularExpression nulReference(QStringLiteral("&#(x0+|0+);"),
                                                 QRegularExpression::CaseInsensitiveOption);
    return bytes.contains('\0') || nulReference.match(QString::fromLatin1(bytes)).hasMatch();
}

}  // namespace

std::optional<QVariant> PlistCodec::parse(const QByteArray& bytes)
{
    if (bytes.isEmpty() || bytes.size() > std::numeric_limits<uint32_t>::max())
        return std::nullopt;
    const bool binary = bytes.startsWith("bplist00");
    if (binary ? binaryHasNulInStrings(bytes) : xmlHasNul(bytes))
        return std::nullopt;
    plist_t root = nullptr;
    plist_from_memory(bytes.constData(), static_cast<uint32_t>(bytes.size()), &root);
    PlistPtr owned(root);
    return toVariant(root, 0);
}

std::optional<QVariantMap> PlistCodec::parseDictionary(const QByteArray& bytes)
{
    const auto value = parse(bytes);
    if (!value || value->metaType() != QMetaType::fromType<QVariantMap>())
        return std::nullopt;
    return value->toMap();
}

namespace {

// One of libplist's writers (plist_to_xml, plist_to_bin) over a dictionary, into bytes we own.
QByteArray written(const QVariantMap& dictionary, void (*write)(plist_t, char**, uint32_t*), DateFraction fraction)
{
    PlistPtr root(fromVariant(QVariant(dictionary), fraction));
    char* bytes = nullptr;
    uint32_t length = 0;
    write(root.get(), &bytes, &length);
    QByteArray out(bytes ? bytes : "", bytes ? static_cast<qsizetype>(length) : 0);
    free(bytes);
    return out;
}

}  // namespace

QByteArray PlistCodec::toXml(const QVariantMap& dictionary) { return written(dictionary, plist_to_xml, DateFraction::dropped); }

QByteArray PlistCodec::toBinary(const QVariantMap& dictionary) { return written(dictionary, plist_to_bin, DateFraction::kept); }

bool PlistCodec::xmlCanHold(const QVariant& value)
{
    auto textFits = [](const QString& text) {
        for (const QChar c : text) {
            const char16_t u = c.unicode();
            // Tab and "\n" survive; "\r" does not ("\r" and "\r\n" come back as "\n" from any XML reader).
            if ((u < 0x20 && u != u'\t' && u != u'\n') || u == 0xfffe || u == 0xffff)
                return false;
        }
        return true;
    };
    const QMetaType type = value.metaType();
    if (type == QMetaType::fromType<QString>())
        return textFits(value.toString());
    if (type == QMetaType::fromType<QStringList>() || type == QMetaType::fromType<QVariantList>()) {
        const QVariantList items = value.toList();
        return std::all_of(items.begin(), items.end(), [](const QVariant& item) { return xmlCanHold(item); });
    }
    if (type == QMetaType::fromType<QVariantMap>()) {
        const QVariantMap map = value.toMap();
        for (auto it = map.begin(); it != map.end(); ++it)
            if (!textFits(it.key()) || !xmlCanHold(it.value()))
                return false;
    }
    return true;
}

QByteArray PlistCodec::forFile(const QVariantMap& dictionary)
{
    return xmlCanHold(QVariant(dictionary)) ? toXml(dictionary) : toBinary(dictionary);
}

}  // namespace tamsinvale
