// The threshold choices of the inactive apps window, and the label of any threshold in hours.
#pragma once

#include <QList>
#include <QString>

namespace tamsinvale {

struct InactiveThreshold {
    QString label;
    double hours = 0;

    // "12 hours", "24 hours", "48 hours", "3 days", "1 week", in this order.
    static const QList<InactiveThreshold>& choices();
    // The value used when the stored one is not a positive number of hours.
    static constexpr double defaultHours = 48;
    // The choice's label for one of the choices; otherwise "N hours" (or "N days" for whole days from 2 on).
    static QString labelFor(double hours);
    // The stored value when it is usable, else the default.
    static double sanitized(double hours);
};

}  // namespace tamsinvale
