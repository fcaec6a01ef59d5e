// The list rules of the inactive apps window and of `tamsinvale inactive`.
#include "InactiveAppsList.h"

#include <algorithm>

namespace tamsinvale {

QString InactiveAppItem::displayName() const
{
    if (!app.localizedName.isEmpty())
        return app.localizedName;
    if (app.bundleIdentifier && !app.bundleIdentifier->isEmpty())
        return *app.bundleIdentifier;
    return QStringLiteral("Unknown");
}

const QSet<QString>& InactiveAppsList::neverListed()
{
    static const QSet<QString> set{QStringLiteral("com.apple.finder")};
    return set;
}

QString InactiveAppsList::displayKey(const RunningApp& app)
{
    if (app.bundleIdentifier && !app.bundleIdentifier->isEmpty())
        return *app.bundleIdentifier;
    if (!app.localizedName.isEmpty())
        return app.localizedName;
    return QStringLiteral("Unknown");
}

QList<InactiveAppItem> InactiveAppsList::build(const QList<RunningApp>& running,
                                               const std::function<QDateTime(const RunningApp&)>& lastActive,
                                               const InactiveListRules& rules, const QDateTime& now,
                                               double thresholdHours)
{
    const QDateTime cutoff = now.addMSecs(-qint64(thresholdHours * 3600.0 * 1000.0));
    QList<InactiveAppItem> items;
    for (const RunningApp& app : running) {
        if (app.activationPolicy != ActivationPolicy::regular || app.terminated)
            continue;
        if (app.pid == rules.ownPid || (app.bundleIdentifier && app.bundleIdentifier == rules.ownBundleIdentifier))
            continue;
        if (rules.activeNowPid && app.pid == *rules.activeNowPid)
            continue;
        const QString key = displayKey(app);
        if (neverListed().contains(key) || rules.excluded.contains(key))
            continue;
        const QDateTime since = lastActive(app);
        if (since.isValid() && since < cutoff)  // exactly at the cut-off is not idle long enough
            items.append(InactiveAppItem{app, since});
    }
    std::sort(items.begin(), items.end(), [](const InactiveAppItem& a, const InactiveAppItem& b) {
        if (a.lastActive != b.lastActive)
            return a.lastActive < b.lastActive;
        const int byName = a.displayName().compare(b.displayName(), Qt::CaseInsensitive);
        if (byName != 0)
            return byName < 0;
        return a.pid() < b.pid();
    });
    return items;
}

}  // namespace tamsinvale
