// When each application (by bundle identifier) last became active, and since when this machine has kept that
// record: the stored form both the running tracker and `tamsinvale inactive` read.
#pragma once

#include <QDateTime>
#include <QHash>
#include <QString>

#include "platform/Workspace.h"

namespace tamsinvale {

class DefaultsDomain;

struct UsageRecord {
    // A dictionary from bundle identifier to seconds since 1 January 1970 (UTC), as a floating-point number.
    static inline const QString storageKey = QStringLiteral("tamsinvale.usage.lastActivated");
    // Seconds since 1970 when tracking began on this machine.
    static inline const QString trackingSinceKey = QStringLiteral("tamsinvale.usage.trackingSince");
    // Entries older than this (90 days) are forgotten.
    static constexpr double pruneAfterSeconds = 7776000;

    QHash<QString, QDateTime> lastActivated;
    QDateTime trackingSince;
    // False on the first run, before anything was stored; `trackingSince` is then the moment of reading.
    bool trackingSinceStored = false;

    // Reads both keys, dropping entries older than 90 days. A dictionary holding anything but numbers is read as
    // empty; a missing or non-numeric trackingSince as "now". Never writes.
    static UsageRecord read(const DefaultsDomain& defaults, const QDateTime& now);

    // Drops the entries older than 90 days before `now`.
    void prune(const QDateTime& now);
    // Prunes, then writes `lastActivated` under its key.
    void saveLastActivated(DefaultsDomain& defaults, const QDateTime& now);
    void saveTrackingSince(DefaultsDomain& defaults) const;

    // Since when a running application counts as inactive: its last activation, unless it was launched again
    // after that (then its launch); without an entry its launch, else `trackingSince`.
    QDateTime lastActive(const RunningApp& app) const;

    static double secondsSince1970(const QDateTime& date);
    static QDateTime dateFromSecondsSince1970(double seconds);
};

}  // namespace tamsinvale
