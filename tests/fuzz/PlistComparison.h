// What a defaults file can carry, for comparing values read with values read back: dates in an XML property list
// are whole seconds (a binary one may hold a fraction), either holds dates between 1932 and 2069 (seconds from
// 2001 in 32 bits), and NaN, never equal to itself, is compared by name.
#pragma once

#include <QDateTime>
#include <QTimeZone>
#include <QVariant>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace tamsinvale::fuzz {

inline QVariant asFileCarries(const QVariant& value, bool wholeSeconds)
{
    const QMetaType type = value.metaType();
    if (type == QMetaType::fromType<QDateTime>()) {
        const QDateTime reference(QDate(2001, 1, 1), QTime(0, 0), QTimeZone::utc());
        QDateTime date = std::clamp(value.toDateTime(), reference.addSecs(std::numeric_limits<std::int32_t>::min()),
                                    reference.addSecs(std::numeric_limits<std::int32_t>::max()));
        return wholeSeconds ? date.addMSecs(-(date.time().msec())) : date;
    }
    if (type == QMetaType::fromType<double>() && std::isnan(value.toDouble()))
        return QStringLiteral("(NaN)");
    if (type == QMetaType::fromType<QVariantList>()) {
        QVariantList items = value.toList();
        for (QVariant& item : items)
            item = asFileCarries(item, wholeSeconds);
        return items;
    }
    if (type == QMetaType::fromType<QVariantMap>()) {
        QVariantMap map = value.toMap();
        for (QVariant& item : map)
            item = asFileCarries(item, wholeSeconds);
        return map;
    }
    return value;
}

}  // namespace tamsinvale::fuzz
