// Creation and wiring of usage tracking and the inactive apps window.
#include "InactiveAppsServices.h"

#include <QElapsedTimer>

#include "AppUsageTracker.h"
#include "InactiveAppsWindowController.h"
#include "InactiveLog.h"
#include "InactivePanel.h"
#include "app/AppServices.h"

namespace tamsinvale {

InactiveAppsServices::InactiveAppsServices(const Platform& platform, SettingsStore& settings,
                                           AppUsageTracker& tracker, AppIconStore* icons)
    : m_platform(platform)
    , m_tracker(tracker)
    , m_controller(std::make_unique<InactiveAppsWindowController>(platform, settings, tracker, icons))
{
}

InactiveAppsServices::~InactiveAppsServices() = default;

void InactiveAppsServices::install(AppServices& services)
{
    AppUsageTracker* tracker = &m_tracker;
    InactiveAppsWindowController* controller = m_controller.get();
    Scheduler* scheduler = m_platform.scheduler;
    services.usageTrackerStart = [tracker, scheduler] {
        tracker->start();
        scheduler->postAfter(prepareAfterSeconds, [] {
            QElapsedTimer timer;
            timer.start();
            InactivePanel::prepareTextDrawing();
            qCInfo(lcInactive, "window: text drawing prepared in %lld ms", static_cast<long long>(timer.elapsed()));
        });
    };
    services.showInactiveApps = [controller] { controller->show(); };
    qCInfo(lcInactive, "inactive apps: installed");
}

}  // namespace tamsinvale
