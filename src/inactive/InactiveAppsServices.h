// Usage tracking and the inactive apps window as the application uses them: created together and hooked into
// its services (the start of tracking, and the "Close Inactive Apps…" action).
#pragma once

#include <memory>

#include "platform/Platform.h"

namespace tamsinvale {

struct AppServices;
class AppIconStore;
class AppUsageTracker;
class InactiveAppsWindowController;
class SettingsStore;

class InactiveAppsServices {
public:
    InactiveAppsServices(const Platform& platform, SettingsStore& settings, AppUsageTracker& tracker,
                         AppIconStore* icons);
    ~InactiveAppsServices();

    // Seconds after tracking starts at which the window's text drawing is prepared (the app is idle by then).
    static constexpr double prepareAfterSeconds = 1.0;

    // Fills `usageTrackerStart` (which also schedules the window's preparation) and `showInactiveApps`.
    void install(AppServices& services);

    AppUsageTracker& tracker() { return m_tracker; }
    InactiveAppsWindowController& controller() { return *m_controller; }

private:
    Platform m_platform;
    AppUsageTracker& m_tracker;
    std::unique_ptr<InactiveAppsWindowController> m_controller;
};

}  // namespace tamsinvale
