// What the General page shows: launch at login, the menu bar icon, the permissions banner, the version and,
// where there is an update framework, the update settings.
#pragma once

#include <QString>
#include <QStringList>

#include "services/PermissionsBanner.h"
#include "settings/Settings.h"

namespace tamsinvale {

class LoginItem;
class PermissionsMonitor;
class Updater;

struct GeneralPageState {
    bool launchAtLoginAvailable = false;
    bool launchAtLogin = false;
    std::optional<QString> launchAtLoginNote;  // while the system still waits for the user's approval
    QStringList iconStyles;                    // "Windows", "Line"
    int iconStyleIndex = 0;
    PermissionsBanner banner;                  // shown only while `banner.visible`
    QString versionText;                       // "Tamsinvale 0.1.0"
    bool updatesAvailable = false;
    bool automaticallyChecksForUpdates = false;
    bool canCheckForUpdates = false;
};

namespace GeneralPageModel {

extern const QString approvalNote;
extern const QString iconStyleHelp;

GeneralPageState state(const Settings& settings, const LoginItem* loginItem, const PermissionsMonitor* permissions,
                       const Updater* updater, const QString& version);

}  // namespace GeneralPageModel

}  // namespace tamsinvale
