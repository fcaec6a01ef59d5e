// Numbers and flags out of values converted from Core Foundation, read the way Foundation bridges them: an integer
// is any number whose value is exactly integral, a flag is a boolean or one of the numbers 0 and 1.
#pragma once

#include <QVariant>
#include <QtGlobal>
#include <optional>

namespace tamsinvale::MacValueReading {

// The value as an integer; nothing for text, booleans, fractions and numbers beyond 64 bits.
std::optional<qint64> integer(const QVariant& value);
// The value as an integer within [minimum, maximum]; nothing outside it.
std::optional<qint64> integerIn(const QVariant& value, qint64 minimum, qint64 maximum);
// The value as a flag; nothing for text and for numbers other than 0 and 1.
std::optional<bool> flag(const QVariant& value);

}  // namespace tamsinvale::MacValueReading
