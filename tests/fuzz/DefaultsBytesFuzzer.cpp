// libFuzzer target: the bytes of a defaults file as the defaults domain turns them into settings and back, without
// the file: read (XML or binary), written as the domain writes it, read again. What was read must come back unchanged. The file
// round trip itself (watch, atomic write, moving an unreadable file aside) is the defaults target's, which is much
// slower per input.
#include <QByteArray>
#include <QDateTime>
#include <QDebug>
#include <QTimeZone>
#include <algorithm>
#include <cmath>
#include <limits>
#include <cstddef>
#include <cstdint>

#include "platform/linux/PlistCodec.h"

using namespace tamsinvale;

namespace {

// Dates in an XML property list are whole seconds; a binary one may hold a fraction, which XML cannot carry. Either
// holds dates between 1932 and 2069 (seconds from 2001 in 32 bits).
QVariant toWholeSeconds(const QVariant& value, bool wholeSeconds)
{
    const QMetaType type = value.metaType();
    if (type == QMetaType::fromType<QDateTime>()) {
        const QDateTime reference(QDate(2001, 1, 1), QTime(0, 0), QTimeZone::utc());
        QDateTime date = std::clamp(value.toDateTime(), reference.addSecs(std::numeric_limits<std::int32_t>::min()),
                                    reference.addSecs(std::numeric_limits<std::int32_t>::max()));
        return wholeSeconds ? date.addMSecs(-(date.time().msec())) : date;
    }
    // NaN is never equal to itself.
    if (type == QMetaType::fromType<double>() && std::isnan(value.toDouble()))
        return QStringLiteral("(NaN)");
    if (type == QMetaType::fromType<QVariantList>()) {
        QVariantList items = value.toList();
        for (QVariant& item : items)
            item = toWholeSeconds(item, wholeSeconds);
        return items;
    }
    if (type == QMetaType::fromType<QVariantMap>()) {
        QVariantMap map = value.toMap();
        for (QVariant& item : map)
            item = toWholeSeconds(item, wholeSeconds);
        return map;
    }
    return value;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto read = PlistCodec::parseDictionary(bytes);
    if (!read)
        return 0;
    const std::optional<QVariantMap> loaded = toWholeSeconds(*read, PlistCodec::xmlCanHold(*read)).toMap();
    const QByteArray written = PlistCodec::forFile(*loaded);
    const auto again = PlistCodec::parseDictionary(written);
    if (!again || toWholeSeconds(*again, false) != toWholeSeconds(*loaded, false)) {
        // Run on one input with TAMSINVALE_FUZZ_EXPLAIN set: which value did not come back.
        if (qEnvironmentVariableIsSet("TAMSINVALE_FUZZ_EXPLAIN")) {
            for (auto it = loaded->cbegin(); it != loaded->cend(); ++it)
                if (!again || again->value(it.key()) != it.value())
                    qWarning() << it.key() << it.value() << "came back as" << (again ? again->value(it.key()) : QVariant());
        }
        __builtin_trap();
    }
    // Writing is stable: what was written once is written the same way again.
    if (PlistCodec::forFile(*again) != written)
        __builtin_trap();
    return 0;
}
