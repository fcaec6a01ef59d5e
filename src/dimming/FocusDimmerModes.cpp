// The focus dimmer's temporary modes: quick dim, clearing inactive screens, covering a screen a window left,
// and switching dimming on and off.
#include "DimmingLog.h"
#include "FocusDimmer.h"
#include "MediaPlayback.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

void FocusDimmer::setQuickDimModeActive(bool active)
{
    if (m_quickDimModeActive == active)
        return;
    m_quickDimModeActive = active;
    emit quickDimModeActiveChanged(active);
}

void FocusDimmer::setClearInactiveScreensActive(bool active)
{
    if (m_clearInactiveScreensActive == active)
        return;
    m_clearInactiveScreensActive = active;
    emit clearInactiveScreensActiveChanged(active);
}

bool FocusDimmer::isQuickDimApp(const RunningApp& app) const
{
    const auto& id = m_settings.settings().quickDimAppID;
    return id && !id->isEmpty() && app.bundleIdentifier == *id;
}

void FocusDimmer::enterQuickDimMode()
{
    const auto front = frontmostApplication();
    if (m_quickDimModeActive && front && isQuickDimApp(*front)) {
        DIMLOG << "enterQuickDimMode: second press without switching — restoring previous app";
        const std::optional<RunningApp> previous = m_quickDimPreviousApp;
        exitQuickDimMode();
        if (previous) {
            const auto running = m_platform.workspace->runningApplication(previous->pid);
            if (running && !running->terminated)
                m_platform.workspace->activate(previous->pid, true);
        }
        return;
    }
    DIMLOG << "enterQuickDimMode (was " << (m_quickDimModeActive ? "on" : "off") << ")";
    m_quickDimPreviousApp = front;
    setQuickDimModeActive(true);
    m_floatingWindowActive = false;
    m_media.pause();
    const auto& appId = m_settings.settings().quickDimAppID;
    m_quickDimAwaitingApp = appId && !appId->isEmpty();
    setClearInactiveScreensActive(true);
    m_clearInactiveScreensAnchorDisplayID.reset();
    if (m_quickDimAwaitingApp)
        m_detached.append(later(2.0, [](FocusDimmer& d) {
            if (!d.m_quickDimAwaitingApp)
                return;
            DIMLOG << "enterQuickDimMode: quick app did not come to front — anchoring on current screen";
            d.m_quickDimAwaitingApp = false;
            d.refresh();
        }));
    activateQuickDimApp();
    refresh();
}

void FocusDimmer::activateQuickDimApp()
{
    const auto& appId = m_settings.settings().quickDimAppID;
    if (!appId || appId->isEmpty()) {
        DIMLOG << "activateQuickDimApp: no app configured";
        return;
    }
    const QList<RunningApp> running = m_platform.workspace->runningApplications(*appId);
    if (!running.isEmpty()) {
        m_platform.workspace->activate(running.first().pid, true);
        return;
    }
    const auto path = m_platform.workspace->urlForApplication(*appId);
    if (!path) {
        DIMLOG << "activateQuickDimApp: app '" << *appId << "' not found";
        return;
    }
    const QString id = *appId;
    m_platform.workspace->openApplication(*path, true, [id](const OpenResult& result) {
        if (!result.ok)
            DIMLOG << "activateQuickDimApp: opening '" << id << "' failed: " << result.error;
    });
}

void FocusDimmer::exitQuickDimMode()
{
    if (!m_quickDimModeActive)
        return;
    DIMLOG << "exitQuickDimMode";
    setQuickDimModeActive(false);
    m_quickDimAwaitingApp = false;
    m_quickDimPreviousApp.reset();
    setClearInactiveScreensActive(false);
    m_clearInactiveScreensAnchorDisplayID.reset();
    m_media.resume();
    if (m_settings.settings().focusDimEnabled)
        refresh();
    else
        hide();
}

void FocusDimmer::toggleClearInactiveScreens()
{
    if (m_clearInactiveScreensActive) {
        clearInactiveScreensOff();
        return;
    }
    DIMLOG << "clearInactiveScreens: on";
    setClearInactiveScreensActive(true);
    m_clearInactiveScreensAnchorDisplayID.reset();
    m_floatingWindowActive = false;
    refresh();
}

void FocusDimmer::clearInactiveScreensOff()
{
    if (!m_clearInactiveScreensActive)
        return;
    DIMLOG << "clearInactiveScreens: off";
    setClearInactiveScreensActive(false);
    m_clearInactiveScreensAnchorDisplayID.reset();
    if (m_settings.settings().focusDimEnabled)
        refresh();
    else
        hide();
}

void FocusDimmer::coverScreenAfterWindowMoved(const ScreenInfo& screen)
{
    if (screen.displayId == 0)
        return;
    if (!m_settings.settings().focusDimEnabled && !m_clearInactiveScreensActive)
        return;
    DIMLOG << "coverScreenAfterWindowMoved: forcing full cover on screen " << screen.displayId;
    m_forcedCoverDisplayIDs.insert(screen.displayId);
    refresh();
}

void FocusDimmer::applyEnabledSetting()
{
    const Settings& s = m_settings.settings();
    if (s.focusDimEnabled) {
        refresh();
        if (onDimmingEnabled)
            onDimmingEnabled(s.focusDimBackgroundImageBookmark && !s.focusDimBackgroundImageBookmark->isEmpty());
        return;
    }
    DIMLOG << "applyEnabledSetting: focus dim disabled — ending temporary modes and hiding";
    if (m_quickDimModeActive)
        m_media.resume();
    setQuickDimModeActive(false);
    m_quickDimAwaitingApp = false;
    m_quickDimPreviousApp.reset();
    setClearInactiveScreensActive(false);
    m_clearInactiveScreensAnchorDisplayID.reset();
    m_forcedCoverDisplayIDs.clear();
    hide();
}

}  // namespace tamsinvale
