// Accessibility and Screen Recording: read at launch, asked for shortly after start-up, then polled until both
// are granted, for the permissions banner of the settings window.
#pragma once

#include <QObject>
#include <QString>
#include <functional>

#include "platform/Scheduler.h"

namespace tamsinvale {

class Accessibility;

class PermissionsMonitor : public QObject {
    Q_OBJECT
public:
    static constexpr double pollInterval = 2.0;
    // The screen-capture request waits this long after the accessibility prompt, so the two dialogs do not collide.
    static constexpr double screenRecordingRequestDelay = 1.5;

    // Reads both permissions now (the launch read) and logs them.
    PermissionsMonitor(Accessibility& accessibility, Scheduler& scheduler, QObject* parent = nullptr);
    ~PermissionsMonitor() override;

    bool accessibilityGranted() const { return m_accessibilityGranted; }
    bool screenRecordingGranted() const { return m_screenRecordingGranted; }
    // Window titles only become readable after a relaunch, so the banner compares this with the current state.
    bool screenRecordingGrantedAtLaunch() const { return m_screenRecordingGrantedAtLaunch; }
    bool isPolling() const { return m_timer != nullptr; }

    // Run once, shortly after start-up: prompts for what is missing and starts polling.
    void startupCheck();
    void startPolling();

    // The settings pages behind the banner's buttons; `openUrl` is how this desktop opens them.
    static const QString accessibilitySettingsUrl;
    static const QString screenRecordingSettingsUrl;
    void setUrlOpener(std::function<void(const QString&)> openUrl) { m_openUrl = std::move(openUrl); }
    void openAccessibilitySettings();
    void openScreenRecordingSettings();

signals:
    void accessibilityGrantedChanged(bool granted);
    void screenRecordingGrantedChanged(bool granted);

private:
    void tick();

    Accessibility& m_accessibility;
    Scheduler& m_scheduler;
    bool m_accessibilityGranted = false;
    bool m_screenRecordingGranted = false;
    bool m_screenRecordingGrantedAtLaunch = false;
    TaskHandle m_timer;
    TaskHandle m_screenRecordingRequest;
    std::function<void(const QString&)> m_openUrl;
};

}  // namespace tamsinvale
