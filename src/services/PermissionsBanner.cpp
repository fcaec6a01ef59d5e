// The banner's texts and the state of its rows.
#include "PermissionsBanner.h"

#include "PermissionsMonitor.h"

namespace tamsinvale {

const QString PermissionsBanner::heading = QStringLiteral("Tamsinvale needs permissions to work");
const QString PermissionsBanner::headingSymbol = QStringLiteral("exclamationmark.triangle.fill");
const QString PermissionsBanner::accessibilityExplanation = QStringLiteral(
    "Needed to switch, move and resize windows. In System Settings, enable Tamsinvale under Accessibility.");
const QString PermissionsBanner::accessibilityButton = QStringLiteral("Open Accessibility Settings");
const QString PermissionsBanner::screenRecordingExplanation =
    QStringLiteral("Needed to read window titles for the window switcher and Focus Dim. Tamsinvale does not record "
                   "your screen. Takes effect after relaunch.");
const QString PermissionsBanner::screenRecordingButton = QStringLiteral("Open Screen Recording Settings");
const QString PermissionsBanner::missingSymbol = QStringLiteral("xmark.circle.fill");
const QString PermissionsBanner::relaunchSymbol = QStringLiteral("arrow.clockwise.circle.fill");
const QString PermissionsBanner::relaunchNote =
    QStringLiteral("Screen Recording was granted. Relaunch Tamsinvale for window titles to appear.");

PermissionsBanner PermissionsBanner::from(const PermissionsMonitor& monitor)
{
    PermissionsBanner banner;
    banner.accessibility = {QStringLiteral("Accessibility"), accessibilityExplanation, accessibilityButton,
                            PermissionRow::State::granted, {}, {}};
    banner.screenRecording = {QStringLiteral("Screen Recording"), screenRecordingExplanation, screenRecordingButton,
                              PermissionRow::State::granted, {}, {}};
    if (!monitor.accessibilityGranted()) {
        banner.accessibility.state = PermissionRow::State::missing;
        banner.accessibility.symbol = missingSymbol;
    }
    if (!monitor.screenRecordingGranted()) {
        banner.screenRecording.state = PermissionRow::State::missing;
        banner.screenRecording.symbol = missingSymbol;
    } else if (!monitor.screenRecordingGrantedAtLaunch()) {
        banner.screenRecording.state = PermissionRow::State::grantedNeedsRelaunch;
        banner.screenRecording.symbol = relaunchSymbol;
        banner.screenRecording.note = relaunchNote;
    }
    banner.visible = banner.accessibility.state != PermissionRow::State::granted
        || banner.screenRecording.state != PermissionRow::State::granted;
    return banner;
}

}  // namespace tamsinvale
