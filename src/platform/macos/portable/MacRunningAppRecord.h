// One NSRunningApplication as read by the Objective-C++ workspace, turned into the logic's RunningApp.
#pragma once

#include <QDateTime>
#include <QString>
#include <cstdint>
#include <optional>

#include "platform/Workspace.h"

namespace tamsinvale {

struct MacRunningAppRecord {
    std::int32_t processIdentifier = 0;
    std::optional<QString> bundleIdentifier;  // nil stays absent; an empty identifier is kept as given
    QString localizedName;
    long long activationPolicy = 0;           // NSApplicationActivationPolicy's raw value
    QDateTime launchDate;                     // invalid when the application was not launched by Launch Services
    QString bundlePath;                       // bundleURL's path, empty when it has none
    bool terminated = false;
    bool finishedLaunching = true;
};

// The policy numbered as NSApplicationActivationPolicy (regular 0, accessory 1, prohibited 2); a value the system
// may add later counts as prohibited, so that the logic never treats an unknown kind as an ordinary application.
ActivationPolicy activationPolicyFromSystem(long long rawPolicy);

RunningApp runningAppFromRecord(const MacRunningAppRecord& record);

}  // namespace tamsinvale
