// Labels of the inactive apps thresholds.
#include "InactiveThreshold.h"

#include <QLocale>
#include <cmath>

namespace tamsinvale {

const QList<InactiveThreshold>& InactiveThreshold::choices()
{
    static const QList<InactiveThreshold> list{
        {QStringLiteral("12 hours"), 12}, {QStringLiteral("24 hours"), 24}, {QStringLiteral("48 hours"), 48},
        {QStringLiteral("3 days"), 72},   {QStringLiteral("1 week"), 168},
    };
    return list;
}

QString InactiveThreshold::labelFor(double hours)
{
    for (const InactiveThreshold& choice : choices())
        if (choice.hours == hours)
            return choice.label;
    const double days = hours / 24.0;
    if (days >= 2 && days == std::floor(days))
        return QStringLiteral("%1 days").arg(qint64(days));
    const QString number = QLocale::c().toString(hours, 'g', 6);
    return hours == 1 ? QStringLiteral("1 hour") : QStringLiteral("%1 hours").arg(number);
}

double InactiveThreshold::sanitized(double hours)
{
    return std::isfinite(hours) && hours > 0 ? hours : defaultHours;
}

}  // namespace tamsinvale
