// What the Inactive Apps page shows: the threshold choices and the apps never listed; and what its edits write.
#pragma once

#include <QList>
#include <QStringList>

#include "AppChoice.h"
#include "settings/Settings.h"

namespace tamsinvale {

class SettingsStore;

struct InactiveAppsPageState {
    QStringList thresholdLabels;  // the five choices, plus the stored value's own label when it is none of them
    QList<double> thresholdHours;
    int thresholdIndex = 0;
    QList<AppChoice> excludedApps;
    QList<AppChoice> excludableApps;
};

namespace InactiveAppsPageModel {

extern const QString thresholdHelp;
extern const QString excludedHelp;

InactiveAppsPageState state(const Settings& settings, const QList<DiscoveredApp>& apps);
void setThresholdHours(SettingsStore& store, double hours);
void setExcluded(SettingsStore& store, const QString& key, bool excluded);

}  // namespace InactiveAppsPageModel

}  // namespace tamsinvale
