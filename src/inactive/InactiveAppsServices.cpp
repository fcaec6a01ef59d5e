// Creation and wiring of usage tracking and the inactive apps window.
#include "InactiveAppsServices.h"

#include "AppUsageTracker.h"
#include "InactiveAppsWindowController.h"
#include "InactiveLog.h"
#include "app/AppServices.h"

namespace tamsinvale {

InactiveAppsServices::InactiveAppsServices(const Platform& platform, SettingsStore& settings,
                                           AppUsageTracker& tracker, AppIconStore* icons)
    : m_tracker(tracker)
    , m_controller(std::make_unique<InactiveAppsWindowController>(platform, settings, tracker, icons))
{
}

InactiveAppsServices::~InactiveAppsServices() = default;

void InactiveAppsServices::install(AppServices& services)
{
    AppUsageTracker* tracker = &m_tracker;
    InactiveAppsWindowController* controller = m_controller.get();
    services.usageTrackerStart = [tracker] { tracker->start(); };
    services.showInactiveApps = [controller] { controller->show(); };
    qCInfo(lcInactive, "inactive apps: installed");
}

}  // namespace tamsinvale
