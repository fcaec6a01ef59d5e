// The launch read, the start-up prompts with their delays, and the 2-second polling of both permissions.
#include "PermissionsMonitor.h"

#include "platform/Accessibility.h"
#include "platform/Logging.h"

namespace tamsinvale {

namespace {
const char* boolText(bool value) { return value ? "true" : "false"; }
}  // namespace

const QString PermissionsMonitor::accessibilitySettingsUrl =
    QStringLiteral("x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility");
const QString PermissionsMonitor::screenRecordingSettingsUrl =
    QStringLiteral("x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture");

PermissionsMonitor::PermissionsMonitor(Accessibility& accessibility, Scheduler& scheduler, QObject* parent)
    : QObject(parent), m_accessibility(accessibility), m_scheduler(scheduler)
{
    m_accessibilityGranted = m_accessibility.isProcessTrusted();
    m_screenRecordingGranted = m_accessibility.screenRecordingGranted();
    m_screenRecordingGrantedAtLaunch = m_screenRecordingGranted;
    qCInfo(lcPermissions, "launch status: accessibility=%s screenRecording=%s", boolText(m_accessibilityGranted),
           boolText(m_screenRecordingGranted));
}

PermissionsMonitor::~PermissionsMonitor()
{
    cancelTask(m_timer);
    cancelTask(m_screenRecordingRequest);
}

void PermissionsMonitor::startupCheck()
{
    if (m_accessibilityGranted && m_screenRecordingGranted)
        return;
    if (!m_accessibilityGranted)
        m_accessibility.requestTrust();  // the system shows its own request dialog
    if (!m_screenRecordingGranted) {
        const double delay = m_accessibilityGranted ? 0.0 : screenRecordingRequestDelay;
        m_screenRecordingRequest =
            m_scheduler.postAfter(delay, [this] { m_accessibility.requestScreenRecording(); });
    }
    m_scheduler.post([this] { startPolling(); });
}

void PermissionsMonitor::startPolling()
{
    if (m_timer)
        return;
    m_timer = m_scheduler.repeat(pollInterval, [this] { tick(); });
}

void PermissionsMonitor::tick()
{
    const bool accessibility = m_accessibility.isProcessTrusted();
    if (accessibility != m_accessibilityGranted) {
        m_accessibilityGranted = accessibility;
        qCInfo(lcPermissions, "accessibility changed: %s", boolText(accessibility));
        emit accessibilityGrantedChanged(accessibility);
    }
    const bool screenRecording = m_accessibility.screenRecordingGranted();
    if (screenRecording != m_screenRecordingGranted) {
        m_screenRecordingGranted = screenRecording;
        qCInfo(lcPermissions, "screenRecording changed: %s", boolText(screenRecording));
        emit screenRecordingGrantedChanged(screenRecording);
    }
    // Nothing is left to wait for: the banner has its answer, and an idle utility should not wake every 2 s.
    if (m_accessibilityGranted && m_screenRecordingGranted)
        cancelTask(m_timer);
}

void PermissionsMonitor::openAccessibilitySettings()
{
    if (m_openUrl)
        m_openUrl(accessibilitySettingsUrl);
}

void PermissionsMonitor::openScreenRecordingSettings()
{
    if (m_openUrl)
        m_openUrl(screenRecordingSettingsUrl);
}

}  // namespace tamsinvale
