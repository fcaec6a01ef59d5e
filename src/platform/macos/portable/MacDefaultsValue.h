// Which property-list type a defaults value is stored as on macOS, and which portable type a stored value becomes.
// The user-defaults backend walks Foundation's objects and asks these questions; the answers live here so that
// they can be checked without Apple's headers.
#pragma once

#include <QDateTime>
#include <QVariant>
#include <cstdint>

namespace tamsinvale::MacDefaultsValue {

enum class Kind { boolean, integer, real, string, data, date, array, dictionary, unsupported };

// What a portable value is written as. Integers of any width that fit in 64 signed bits are integers, float and
// double are reals, QStringList is an array, invalid dates and unsigned values beyond 2^63 − 1 are unsupported.
Kind kindOf(const QVariant& value);
// Whether the whole value, with every element and dictionary value inside it, can be written; user defaults refuse
// a collection with any other object in it.
bool isWritable(const QVariant& value);

// A stored number: CFBoolean is a boolean, a CFNumber of a floating-point type a real, any other an integer.
Kind numberKind(bool isCFBoolean, bool isFloatType);
// The portable value of a stored number of that kind (bool, qint64 or double).
QVariant portableNumber(Kind kind, qint64 integerValue, double realValue);
// The integer a portable value of kind `integer` holds.
qint64 integerOf(const QVariant& value);

// Dates are stored as NSDate, counted in seconds from 2001-01-01 00:00:00 UTC (the reference date).
constexpr qint64 referenceDateUnixSeconds = 978307200;
QDateTime dateFromReferenceSeconds(double secondsSinceReferenceDate);
double referenceSecondsFromDate(const QDateTime& date);

}  // namespace tamsinvale::MacDefaultsValue
