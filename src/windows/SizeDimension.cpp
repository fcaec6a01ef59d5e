// Parsing and arithmetic of preset sizes.
#include "SizeDimension.h"

#include <algorithm>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <locale.h>

namespace tamsinvale {

namespace {
// strtod in the C locale whatever the user's locale says, so ".95" never depends on the decimal separator.
double strtodC(const char* text, char** end)
{
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    return strtod_l(text, end, cLocale);
}
}  // namespace

std::optional<SizeDimension> parseSizeDimension(const QString& text)
{
    const QString t = text.trimmed().toLower();
    if (t == QLatin1String("full"))
        return SizeDimension::fraction(1.0);
    if (t.isEmpty())
        return std::nullopt;
    const QByteArray utf8 = t.toUtf8();
    char* end = nullptr;
    const double number = strtodC(utf8.constData(), &end);
    // The whole text must be the number (an embedded NUL also ends it early).
    if (end != utf8.constData() + utf8.size())
        return std::nullopt;
    if (!(number > 0.0))
        return std::nullopt;
    if (number <= 1.0)
        return SizeDimension::fraction(number);
    if (number >= 50.0)
        return SizeDimension::points(number);
    return std::nullopt;
}

double SizeDimension::resolve(double available) const
{
    if (kind == Kind::fraction)
        return std::round(available * value);
    return std::min(available, value);
}

}  // namespace tamsinvale
