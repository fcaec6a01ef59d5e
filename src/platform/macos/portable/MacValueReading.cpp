// Number and flag reading shared by the conversions of window-server and display values.
#include "MacValueReading.h"

#include <cmath>
#include <limits>

namespace tamsinvale::MacValueReading {

std::optional<qint64> integer(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::Char:
    case QMetaType::SChar:
        return value.toLongLong();
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::UShort:
    case QMetaType::UChar: {
        const qulonglong u = value.toULongLong();
        if (u > qulonglong(std::numeric_limits<qint64>::max()))
            return std::nullopt;
        return qint64(u);
    }
    case QMetaType::Double:
    case QMetaType::Float: {
        const double d = value.toDouble();
        // 2^63 itself is not representable as qint64; every double below it that is integral is.
        if (!std::isfinite(d) || d != std::trunc(d) || d < -9223372036854775808.0 || d >= 9223372036854775808.0)
            return std::nullopt;
        return qint64(d);
    }
    default:
        return std::nullopt;  // text, booleans and containers are not numbers here
    }
}

std::optional<qint64> integerIn(const QVariant& value, qint64 minimum, qint64 maximum)
{
    const auto n = integer(value);
    if (!n || *n < minimum || *n > maximum)
        return std::nullopt;
    return n;
}

std::optional<bool> flag(const QVariant& value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    const auto n = integer(value);
    if (n && (*n == 0 || *n == 1))
        return *n == 1;
    return std::nullopt;
}

}  // namespace tamsinvale::MacValueReading
