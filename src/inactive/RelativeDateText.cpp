// The unit is chosen here; ICU words it in the locale's language and plural rules.
#include "RelativeDateText.h"

#include <QHash>
#include <memory>

#include <unicode/locid.h>
#include <unicode/reldatefmt.h>
#include <unicode/unistr.h>

namespace tamsinvale {

namespace {

struct Amount {
    qint64 value = 0;
    URelativeDateTimeUnit unit = UDAT_REL_UNIT_SECOND;
};

// Whole calendar months from `earlier` to `later` (both local), as a calendar counts them.
qint64 wholeMonths(const QDateTime& earlier, const QDateTime& later)
{
    const QDate a = earlier.date(), b = later.date();
    qint64 months = qint64(b.year() - a.year()) * 12 + (b.month() - a.month());
    if (b.day() < a.day() || (b.day() == a.day() && later.time() < earlier.time()))
        --months;
    return std::max<qint64>(months, 0);
}

Amount largestUnit(const QDateTime& earlier, const QDateTime& later)
{
    const qint64 seconds = earlier.secsTo(later);
    const qint64 months = wholeMonths(earlier.toLocalTime(), later.toLocalTime());
    if (months >= 12)
        return {months / 12, UDAT_REL_UNIT_YEAR};
    if (months >= 1)
        return {months, UDAT_REL_UNIT_MONTH};
    const qint64 days = seconds / 86400;
    if (days >= 7)
        return {days / 7, UDAT_REL_UNIT_WEEK};
    if (days >= 1)
        return {days, UDAT_REL_UNIT_DAY};
    if (seconds >= 3600)
        return {seconds / 3600, UDAT_REL_UNIT_HOUR};
    if (seconds >= 60)
        return {seconds / 60, UDAT_REL_UNIT_MINUTE};
    return {seconds, UDAT_REL_UNIT_SECOND};
}

std::string icuLocaleName(const QLocale& locale)
{
    // The C locale has no words of its own; its texts are English.
    if (locale.language() == QLocale::C)
        return "en_US";
    return locale.name().toStdString();
}

// Building a formatter loads locale data; one per locale is kept for the life of the process (main thread only).
const icu::RelativeDateTimeFormatter* formatterFor(const QLocale& locale)
{
    static QHash<QString, std::shared_ptr<icu::RelativeDateTimeFormatter>> cache;
    const QString key = locale.name();
    if (const auto it = cache.constFind(key); it != cache.cend())
        return it->get();
    UErrorCode status = U_ZERO_ERROR;
    auto formatter = std::make_shared<icu::RelativeDateTimeFormatter>(
        icu::Locale(icuLocaleName(locale).c_str()), nullptr, UDAT_STYLE_LONG, UDISPCTX_CAPITALIZATION_NONE, status);
    if (U_FAILURE(status))
        formatter.reset();
    cache.insert(key, formatter);
    return formatter.get();
}

}  // namespace

QString RelativeDateText::describe(const QDateTime& date, const QDateTime& relativeTo, const QLocale& locale)
{
    const bool past = date <= relativeTo;
    const Amount amount = past ? largestUnit(date, relativeTo) : largestUnit(relativeTo, date);
    const icu::RelativeDateTimeFormatter* formatter = formatterFor(locale);
    if (!formatter)
        return locale.toString(date, QLocale::ShortFormat);
    icu::UnicodeString text;
    UErrorCode status = U_ZERO_ERROR;
    formatter->formatNumeric(double(past ? -amount.value : amount.value), amount.unit, text, status);
    if (U_FAILURE(status))
        return locale.toString(date, QLocale::ShortFormat);
    return QString(reinterpret_cast<const QChar*>(text.getBuffer()), text.length());
}

}  // namespace tamsinvale
