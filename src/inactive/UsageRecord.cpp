// Reading, pruning and writing the usage record in the defaults domain.
#include "UsageRecord.h"

#include <QVariantMap>
#include <cmath>

#include "platform/Defaults.h"

namespace tamsinvale {

namespace {

std::optional<double> number(const QVariant& value)
{
    if (value.metaType() == QMetaType::fromType<double>())
        return value.toDouble();
    if (value.metaType() == QMetaType::fromType<qint64>())
        return static_cast<double>(value.toLongLong());
    return std::nullopt;
}

}  // namespace

double UsageRecord::secondsSince1970(const QDateTime& date) { return double(date.toMSecsSinceEpoch()) / 1000.0; }

QDateTime UsageRecord::dateFromSecondsSince1970(double seconds)
{
    return QDateTime::fromMSecsSinceEpoch(std::llround(seconds * 1000.0), Qt::UTC);
}

UsageRecord UsageRecord::read(const DefaultsDomain& defaults, const QDateTime& now)
{
    UsageRecord record;
    if (const auto stored = defaults.dictionaryValue(storageKey)) {
        QHash<QString, QDateTime> dates;
        bool allNumbers = true;
        for (auto it = stored->cbegin(); it != stored->cend() && allNumbers; ++it) {
            const auto seconds = number(it.value());
            allNumbers = seconds.has_value();
            // A number that is no date (infinite, not a number) is dropped on its own.
            if (seconds && std::isfinite(*seconds) && std::abs(*seconds) < 1e13)
                dates.insert(it.key(), dateFromSecondsSince1970(*seconds));
        }
        if (allNumbers)
            record.lastActivated = dates;
    }
    record.prune(now);

    const auto since = defaults.value(trackingSinceKey);
    const auto sinceSeconds = since ? number(*since) : std::nullopt;
    if (sinceSeconds && std::isfinite(*sinceSeconds) && std::abs(*sinceSeconds) < 1e13) {
        record.trackingSince = dateFromSecondsSince1970(*sinceSeconds);
        record.trackingSinceStored = true;
    } else {
        record.trackingSince = now.toUTC();
    }
    return record;
}

void UsageRecord::prune(const QDateTime& now)
{
    const QDateTime cutoff = now.addMSecs(-qint64(pruneAfterSeconds * 1000));
    for (auto it = lastActivated.begin(); it != lastActivated.end();) {
        if (it.value() < cutoff)
            it = lastActivated.erase(it);
        else
            ++it;
    }
}

void UsageRecord::saveLastActivated(DefaultsDomain& defaults, const QDateTime& now)
{
    prune(now);
    QVariantMap stored;
    for (auto it = lastActivated.cbegin(); it != lastActivated.cend(); ++it)
        stored.insert(it.key(), secondsSince1970(it.value()));
    defaults.setValue(storageKey, stored);
}

void UsageRecord::saveTrackingSince(DefaultsDomain& defaults) const
{
    defaults.setValue(trackingSinceKey, secondsSince1970(trackingSince));
}

QDateTime UsageRecord::lastActive(const RunningApp& app) const
{
    if (app.bundleIdentifier) {
        const auto it = lastActivated.constFind(*app.bundleIdentifier);
        if (it != lastActivated.cend()) {
            // Relaunched since its last activation: it has been idle only since it started again.
            if (app.launchDate.isValid() && app.launchDate > it.value())
                return app.launchDate;
            return it.value();
        }
    }
    return app.launchDate.isValid() ? app.launchDate : trackingSince;
}

}  // namespace tamsinvale
