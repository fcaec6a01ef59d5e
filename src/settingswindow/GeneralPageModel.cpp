// The General page as data.
#include "GeneralPageModel.h"

#include "services/LoginItem.h"
#include "services/Updater.h"

namespace tamsinvale {

const QString GeneralPageModel::approvalNote =
    QStringLiteral("Waiting for your approval: allow Tamsinvale under Login Items in System Settings.");
const QString GeneralPageModel::iconStyleHelp = QStringLiteral("How Tamsinvale looks in the menu bar.");

GeneralPageState GeneralPageModel::state(const Settings& settings, const LoginItem* loginItem,
                                         const PermissionsMonitor* permissions, const Updater* updater,
                                         const QString& version)
{
    GeneralPageState state;
    if (loginItem) {
        state.launchAtLoginAvailable = true;
        state.launchAtLogin = loginItem->isEnabled();
        if (loginItem->requiresApproval())
            state.launchAtLoginNote = approvalNote;
    }
    for (MenuBarIconStyle style : allMenuBarIconStyles) {
        if (style == settings.menuBarIconStyle)
            state.iconStyleIndex = int(state.iconStyles.size());
        state.iconStyles.append(displayName(style));
    }
    if (permissions)
        state.banner = PermissionsBanner::from(*permissions);
    state.versionText = QStringLiteral("Tamsinvale ") + version;
    if (updater && updater->isAvailable()) {
        state.updatesAvailable = true;
        state.automaticallyChecksForUpdates = updater->automaticallyChecksForUpdates();
        state.canCheckForUpdates = updater->canCheckForUpdates();
    }
    return state;
}

}  // namespace tamsinvale
