// The Inactive Apps page as data.
#include "InactiveAppsPageModel.h"

#include "inactive/InactiveThreshold.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

const QString InactiveAppsPageModel::thresholdHelp =
    QStringLiteral("Close Inactive Apps… lists the apps you have not used for longer than this.");
const QString InactiveAppsPageModel::excludedHelp = QStringLiteral(
    "Never listed as inactive, however long they stay unused (Finder and Tamsinvale never are).");

InactiveAppsPageState InactiveAppsPageModel::state(const Settings& settings, const QList<DiscoveredApp>& apps)
{
    InactiveAppsPageState state;
    const double hours = InactiveThreshold::sanitized(settings.inactiveThresholdHours);
    state.thresholdIndex = -1;
    for (const InactiveThreshold& choice : InactiveThreshold::choices()) {
        if (choice.hours == hours)
            state.thresholdIndex = int(state.thresholdLabels.size());
        state.thresholdLabels.append(choice.label);
        state.thresholdHours.append(choice.hours);
    }
    if (state.thresholdIndex < 0) {
        // Set elsewhere (the command line) to a value the menu does not offer: shown as it is, not rounded.
        state.thresholdIndex = int(state.thresholdLabels.size());
        state.thresholdLabels.append(InactiveThreshold::labelFor(hours));
        state.thresholdHours.append(hours);
    }
    state.excludedApps = AppChoice::chosen(settings.inactiveAppsExcluded, apps);
    state.excludableApps = AppChoice::notChosen(settings.inactiveAppsExcluded, apps);
    return state;
}

void InactiveAppsPageModel::setThresholdHours(SettingsStore& store, double hours)
{
    store.set(&Settings::inactiveThresholdHours, InactiveThreshold::sanitized(hours));
}

void InactiveAppsPageModel::setExcluded(SettingsStore& store, const QString& key, bool excluded)
{
    store.update([&](Settings& s) {
        if (excluded)
            s.inactiveAppsExcluded.insert(key);
        else
            s.inactiveAppsExcluded.remove(key);
    });
}

}  // namespace tamsinvale
