// "2 days ago": a date described against another in the user's language, through ICU's relative date-time
// formatting (the system's relative date formatter on macOS).
#pragma once

#include <QDateTime>
#include <QLocale>
#include <QString>

namespace tamsinvale {

class RelativeDateText {
public:
    // The largest whole calendar unit between the dates (years, months, weeks, days, hours, minutes, seconds),
    // formatted numerically: "3 days ago", "1 week ago", "in 2 hours".
    static QString describe(const QDateTime& date, const QDateTime& relativeTo,
                            const QLocale& locale = QLocale::system());
};

}  // namespace tamsinvale
