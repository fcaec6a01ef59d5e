// The property-list type of every portable defaults value and back, and the reference-date arithmetic.
#include <gtest/gtest.h>

#include <QPointF>
#include <QStringList>
#include <QTimeZone>

#include "platform/macos/portable/MacDefaultsValue.h"

using namespace tamsinvale;
namespace V = tamsinvale::MacDefaultsValue;
using Kind = V::Kind;

TEST(MacDefaultsValue, everyPortableTypeHasItsPropertyListKind)
{
    EXPECT_EQ(V::kindOf(QVariant(true)), Kind::boolean);
    EXPECT_EQ(V::kindOf(QVariant(42)), Kind::integer);
    EXPECT_EQ(V::kindOf(QVariant::fromValue<qint64>(-5)), Kind::integer);
    EXPECT_EQ(V::kindOf(QVariant::fromValue<quint32>(4294967295u)), Kind::integer);
    EXPECT_EQ(V::kindOf(QVariant::fromValue<quint64>(9223372036854775807ull)), Kind::integer);
    EXPECT_EQ(V::kindOf(QVariant::fromValue<quint64>(9223372036854775808ull)), Kind::unsupported);
    EXPECT_EQ(V::kindOf(QVariant(0.4)), Kind::real);
    EXPECT_EQ(V::kindOf(QVariant(2.0f)), Kind::real);
    EXPECT_EQ(V::kindOf(QVariant(QStringLiteral("line"))), Kind::string);
    EXPECT_EQ(V::kindOf(QVariant(QByteArray("\x00\x01", 2))), Kind::data);
    EXPECT_EQ(V::kindOf(QVariant(QDateTime::currentDateTimeUtc())), Kind::date);
    EXPECT_EQ(V::kindOf(QVariant(QDateTime())), Kind::unsupported);
    EXPECT_EQ(V::kindOf(QVariant(QVariantList{1, 2})), Kind::array);
    EXPECT_EQ(V::kindOf(QVariant(QStringList{QStringLiteral("a")})), Kind::array);
    EXPECT_EQ(V::kindOf(QVariant(QVariantMap{{QStringLiteral("k"), 1}})), Kind::dictionary);
    EXPECT_EQ(V::kindOf(QVariant()), Kind::unsupported);
    EXPECT_EQ(V::kindOf(QVariant(QPointF(1, 2))), Kind::unsupported);
    // A number stored as text stays text: it must not turn into a number on the way.
    EXPECT_EQ(V::kindOf(QVariant(QStringLiteral("0.4"))), Kind::string);
}

TEST(MacDefaultsValue, aCollectionIsWritableOnlyWhenEverythingInsideIs)
{
    const QVariantMap bookmarks{{QStringLiteral("UUID-1"), QByteArray("a")}, {QStringLiteral("UUID-2"), QByteArray("b")}};
    EXPECT_TRUE(V::isWritable(bookmarks));
    EXPECT_TRUE(V::isWritable(QVariantList{QByteArray("a"), QVariantList{1.5, QStringLiteral("x")}}));
    EXPECT_TRUE(V::isWritable(QVariantList{}));
    EXPECT_FALSE(V::isWritable(QVariantList{QByteArray("a"), QVariant()}));
    QVariantMap inner;
    inner.insert(QStringLiteral("bad"), QVariant(QPointF()));
    QVariantMap nested;
    nested.insert(QStringLiteral("inner"), inner);
    EXPECT_FALSE(V::isWritable(nested));
    EXPECT_FALSE(V::isWritable(QVariantList{QDateTime()}));
}

TEST(MacDefaultsValue, storedNumbersKeepBooleanIntegerAndRealApart)
{
    // A CFBoolean is a boolean even though it is also an NSNumber holding 0 or 1.
    EXPECT_EQ(V::numberKind(true, false), Kind::boolean);
    EXPECT_EQ(V::numberKind(false, false), Kind::integer);
    EXPECT_EQ(V::numberKind(false, true), Kind::real);

    const QVariant yes = V::portableNumber(Kind::boolean, 1, 1.0);
    EXPECT_EQ(yes.metaType(), QMetaType::fromType<bool>());
    EXPECT_TRUE(yes.toBool());
    const QVariant hours = V::portableNumber(Kind::integer, 48, 48.0);
    EXPECT_EQ(hours.metaType(), QMetaType::fromType<qint64>());
    EXPECT_EQ(hours.value<qint64>(), 48);
    // A real that happens to be whole (the threshold 48.0) stays a real, or the double reader would miss it.
    const QVariant threshold = V::portableNumber(Kind::real, 48, 48.0);
    EXPECT_EQ(threshold.metaType(), QMetaType::fromType<double>());
    EXPECT_DOUBLE_EQ(threshold.toDouble(), 48.0);
    const QVariant big = V::portableNumber(Kind::integer, 9007199254740993LL, 9007199254740992.0);
    EXPECT_EQ(big.value<qint64>(), 9007199254740993LL);  // no trip through double
}

TEST(MacDefaultsValue, integersOfEveryWidthAreReadExactly)
{
    EXPECT_EQ(V::integerOf(QVariant::fromValue<quint64>(9223372036854775807ull)), 9223372036854775807LL);
    EXPECT_EQ(V::integerOf(QVariant::fromValue<quint32>(4294967295u)), 4294967295LL);
    EXPECT_EQ(V::integerOf(QVariant(-7)), -7);
}

TEST(MacDefaultsValue, datesCountFromTheReferenceDateNotFromUnixEpoch)
{
    const QDateTime reference(QDate(2001, 1, 1), QTime(0, 0), QTimeZone::utc());
    EXPECT_EQ(V::dateFromReferenceSeconds(0.0), reference);
    EXPECT_DOUBLE_EQ(V::referenceSecondsFromDate(reference), 0.0);
    const QDateTime unixEpoch = QDateTime::fromSecsSinceEpoch(0, QTimeZone::utc());
    EXPECT_DOUBLE_EQ(V::referenceSecondsFromDate(unixEpoch), -978307200.0);

    const QDateTime lastChange(QDate(2026, 11, 23), QTime(23, 52, 53, 250), QTimeZone::utc());
    const double stored = V::referenceSecondsFromDate(lastChange);
    EXPECT_DOUBLE_EQ(stored, 817170773.25);
    EXPECT_EQ(V::dateFromReferenceSeconds(stored), lastChange);
    // A local-time date is the same instant once stored.
    EXPECT_EQ(V::dateFromReferenceSeconds(V::referenceSecondsFromDate(lastChange.toLocalTime())), lastChange);
    // Sub-millisecond digits round to the nearest millisecond.
    EXPECT_EQ(V::dateFromReferenceSeconds(0.0006).toMSecsSinceEpoch(), 978307200001LL);
    EXPECT_FALSE(V::dateFromReferenceSeconds(std::numeric_limits<double>::quiet_NaN()).isValid());
}
