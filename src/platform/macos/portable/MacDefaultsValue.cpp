// The type mapping between Foundation's property-list objects and the portable defaults values.
#include "MacDefaultsValue.h"

#include <QStringList>
#include <QTimeZone>
#include <cmath>
#include <limits>

namespace tamsinvale::MacDefaultsValue {

Kind kindOf(const QVariant& value)
{
    switch (value.metaType().id()) {
    case QMetaType::Bool:
        return Kind::boolean;
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
        return Kind::integer;
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        return value.toULongLong() <= quint64(std::numeric_limits<qint64>::max()) ? Kind::integer : Kind::unsupported;
    case QMetaType::Double:
    case QMetaType::Float:
        return Kind::real;
    case QMetaType::QString:
        return Kind::string;
    case QMetaType::QByteArray:
        return Kind::data;
    case QMetaType::QDateTime:
        return value.toDateTime().isValid() ? Kind::date : Kind::unsupported;
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return Kind::array;
    case QMetaType::QVariantMap:
        return Kind::dictionary;
    default:
        return Kind::unsupported;
    }
}

bool isWritable(const QVariant& value)
{
    switch (kindOf(value)) {
    case Kind::unsupported:
        return false;
    case Kind::array:
        if (value.metaType().id() == QMetaType::QStringList)
            return true;
        for (const QVariant& item : value.toList())
            if (!isWritable(item))
                return false;
        return true;
    case Kind::dictionary: {
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            if (!isWritable(it.value()))
                return false;
        return true;
    }
    default:
        return true;
    }
}

Kind numberKind(bool isCFBoolean, bool isFloatType)
{
    if (isCFBoolean)
        return Kind::boolean;
    return isFloatType ? Kind::real : Kind::integer;
}

QVariant portableNumber(Kind kind, qint64 integerValue, double realValue)
{
    switch (kind) {
    case Kind::boolean:
        return QVariant(integerValue != 0);
    case Kind::real:
        return QVariant(realValue);
    default:
        return QVariant::fromValue<qint64>(integerValue);
    }
}

qint64 integerOf(const QVariant& value)
{
    const int type = value.metaType().id();
    if (type == QMetaType::ULong || type == QMetaType::ULongLong)
        return qint64(value.toULongLong());
    return value.toLongLong();
}

QDateTime dateFromReferenceSeconds(double seconds)
{
    if (!std::isfinite(seconds))
        return {};
    // Milliseconds are what QDateTime keeps; a stored date carries sub-millisecond digits we cannot hold.
    const double ms = std::round((seconds + double(referenceDateUnixSeconds)) * 1000.0);
    return QDateTime::fromMSecsSinceEpoch(qint64(ms), QTimeZone::utc());
}

double referenceSecondsFromDate(const QDateTime& date)
{
    return double(date.toMSecsSinceEpoch()) / 1000.0 - double(referenceDateUnixSeconds);
}

}  // namespace tamsinvale::MacDefaultsValue
